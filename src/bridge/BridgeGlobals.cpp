// BridgeGlobals.cpp - the bridge's process-wide values and the two global methods that set
// the project folder and the default font.
#include "bridge/BridgeGlobals.h"

#include "files/FolderItemImp.h"

ZYNEobject gProjectFile = nullptr;
ZYNEstring gDefaultFont = nullptr;
int32_t gDefaultFontSize = 0;

namespace {

PluginDefinition* gCurrentDefinition = nullptr;
PluginBridge* gCurrentBridge = nullptr;
FolderItemImp* gTemporaryDataFolder = nullptr;
bool gTemporaryDataFolderCleanUp = true;

// "PluginBridgeSetProjFolder( file as FolderItem )": the previous folder is released
// (harmless on nil), the new one held.
void SetProjFolder(ZYNEobject file) {
    ZYNEUnlockObject(gProjectFile);
    gProjectFile = file;
    ZYNELockObject(gProjectFile);
}

// "PluginBridgeSetDefaultFontAndSize( fontName as String, size as Integer )".
void SetDefaultFontAndSize(ZYNEstring fontName, long size) {
    ZYNEUnlockString(gDefaultFont);
    gDefaultFont = fontName;
    ZYNELockString(gDefaultFont);
    gDefaultFontSize = static_cast<int32_t>(size);
}

}  // namespace

PluginDefinition* GetCurrentPluginDefinition() {
    return gCurrentDefinition;
}
PluginBridge* GetCurrentPluginBridge() {
    return gCurrentBridge;
}
void SetCurrentPluginDefinition(PluginDefinition* record) {
    gCurrentDefinition = record;
}
void SetCurrentPluginBridge(PluginBridge* bridge) {
    gCurrentBridge = bridge;
}

ZYNEobject GetProjectFolder() {
    ZYNELockObject(gProjectFile);
    return gProjectFile;
}
ZYNEstring GetDefaultFont() {
    ZYNELockString(gDefaultFont);
    return gDefaultFont;
}
int32_t GetDefaultFontSize() {
    return gDefaultFontSize;
}

FolderItemImp*& TemporaryDataFolder() {
    return gTemporaryDataFolder;
}
bool& TemporaryDataFolderCleanUp() {
    return gTemporaryDataFolderCleanUp;
}

ZYNEmethodDefinition PluginBridgeSetProjFolderMethod = {
    reinterpret_cast<void*>(&SetProjFolder), nullptr,
    "PluginBridgeSetProjFolder( file as FolderItem )", 0};
ZYNEmethodDefinition PluginBridgeSetDefaultFontAndSizeMethod = {
    reinterpret_cast<void*>(&SetDefaultFontAndSize), nullptr,
    "PluginBridgeSetDefaultFontAndSize( fontName as String, size as Integer )", 0};
