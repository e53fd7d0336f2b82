// DatabaseDelegate.cpp - the installed connection-dialog delegate, the last engine
// definition, and the Pseudo... services that route a guest's dialog and data-source
// requests to that delegate.
//
// The delegate's routines are fetched by name through the host's interface service each
// time (the delegate may be replaced between calls) and called with the delegate first,
// as the host calls interface methods.
#include "items/DatabaseDelegate.h"

#include <cstring>

namespace {

constexpr const char* kDelegateInterface = "PluginDBDialogDelegate";
constexpr unsigned long kUTF8Tag = 0x08000100;

ZYNEobject gDialogDelegate = nullptr;           // held locked while installed
ZYNEdbEngineDefinition* gLastEngine = nullptr;  // guest-owned; overwritten by each call

// The installed delegate's routine `name` as F, or null without a delegate or routine.
template <class F>
F DelegateRoutine(const char* name) {
    if (gDialogDelegate == nullptr) return nullptr;
    return reinterpret_cast<F>(ZYNEInterfaceRoutine(gDialogDelegate, kDelegateInterface, name));
}

// The dialog handle guests hold is the window object itself.
ZYNEobject DialogObject(unsigned long dialog) {
    return reinterpret_cast<ZYNEobject>(dialog);
}

// A new host string of a guest's C text, tagged UTF-8; a null text gives an empty string.
ZYNEstring UTF8String(const char* text) {
    if (text == nullptr) text = "";
    ZYNEstring result = ZYNEBuildString(text, static_cast<int>(std::strlen(text)));
    if (result != nullptr) ZYNESetStringEncoding(result, kUTF8Tag);
    return result;
}

}  // namespace

void InstallDialogDelegate(ZYNEobject newDelegate) {
    // Unlock first, lock second: reinstalling the installed object nets one unlock and one
    // lock; the caller's own reference keeps it alive in between.
    if (gDialogDelegate != nullptr) ZYNEUnlockObject(gDialogDelegate);
    if (newDelegate != nullptr) ZYNELockObject(newDelegate);
    gDialogDelegate = newDelegate;
}

void UninstallDialogDelegate() {
    InstallDialogDelegate(nullptr);
}

ZYNEobject InstalledDialogDelegate() {
    return gDialogDelegate;
}

ZYNEdbEngineDefinition* LastEngineDefinition() {
    return gLastEngine;
}

unsigned long PseudoDBConnectionDialogCreate() {
    using CreateDialog = ZYNEobject (*)(ZYNEobject self);
    const auto create = DelegateRoutine<CreateDialog>("CreateDialog");
    if (create == nullptr) return 0;
    return reinterpret_cast<unsigned long>(create(gDialogDelegate));
}

void PseudoDBConnectionDialogAddField(unsigned long dialog, ZYNEstring label,
                                      ZYNEstring defaultText, unsigned char isMasked) {
    using AddField = void (*)(ZYNEobject self, ZYNEobject dialog, ZYNEstring label,
                              ZYNEstring defaultText, unsigned char isMasked);
    const auto addField = DelegateRoutine<AddField>("AddField");
    if (addField == nullptr) return;
    addField(gDialogDelegate, DialogObject(dialog), label, defaultText, isMasked);
}

ZYNEstring PseudoDBConnectionDialogShow(unsigned long dialog, ZYNEstring title) {
    using ShowDialog = ZYNEstring (*)(ZYNEobject self, ZYNEobject dialog, ZYNEstring title);
    const auto show = DelegateRoutine<ShowDialog>("ShowDialog");
    if (show == nullptr) return nullptr;
    return show(gDialogDelegate, DialogObject(dialog), title);
}

void PseudoDBConnectionDialogDelete(unsigned long dialog) {
    if (dialog != 0) ZYNEUnlockObject(DialogObject(dialog));
}

void PseudoDesignAddDataSource(const char* displayName, const char* sourceName, char* data,
                               int length) {
    using AddDatasource =
        void (*)(ZYNEobject self, ZYNEstring displayName, ZYNEstring sourceName, ZYNEobject data);
    const auto add = DelegateRoutine<AddDatasource>("AddDatasource");
    if (add == nullptr) return;
    ZYNEstring display = UTF8String(displayName);
    ZYNEstring source = UTF8String(sourceName);
    if (length < 0) length = 0;
    ZYNEobject block = ZYNENewMemoryBlock(length);
    if (block != nullptr && data != nullptr && length > 0) {
        void* bytes = ZYNEMemoryBlockGetPtr(block);
        if (bytes != nullptr) std::memcpy(bytes, data, static_cast<size_t>(length));
    }
    add(gDialogDelegate, display, source, block);
    ZYNEUnlockString(display);
    ZYNEUnlockString(source);
    ZYNEUnlockObject(block);
}

ZYNEobject PseudoGetdbDatabaseFromDBDatabase(dbDatabase* db, ZYNEdbEngineDefinition* engine) {
    // Kept first, whatever the host answers: a data source's connect routine calls this
    // while connecting, and the data source then reads which engine it named.
    gLastEngine = engine;
    // Deliberately not the bound forwarder nor the guest resolver: the host is asked on
    // every call, and the guest resolver would answer with this very function.
    using FromDBDatabase = ZYNEobject (*)(dbDatabase*, ZYNEdbEngineDefinition*);
    const auto fromDB =
        gResolver != nullptr
            ? reinterpret_cast<FromDBDatabase>(gResolver("ZYNEdbDatabaseFromDBDatabase"))
            : nullptr;
    if (fromDB == nullptr) return nullptr;
    return fromDB(db, engine);
}
