// GtkGlue.cpp - the GTK 2 calls of the library, linked or bound at run time.
//
// The GTK functions used are listed once, in ZYNE_GTK_FUNCTIONS; both builds fill
// the same table from that list and share the code that calls through it. The
// native build takes the addresses of the linked functions, which also checks the
// listed types against GTK's own headers. The ZYNE_GTK_RUNTIME_BINDING build asks
// the dynamic linker for them across the whole process, once; a function it cannot
// find stays null and reads as "no GTK".
//
// Not done here: loading GTK, retrying a lookup that failed (GTK arrives with the
// host executable, before any plug-in, or not at all), or finding a GTK that was
// loaded privately with RTLD_LOCAL.
#include "core/GtkGlue.h"

#if defined(ZYNE_GTK_RUNTIME_BINDING)
#include <dlfcn.h>
#else
#include <gtk/gtk.h>
#endif

namespace zyne::gtk {
namespace {

#if defined(ZYNE_GTK_RUNTIME_BINDING)
// No GTK headers in this build: its objects are opaque here, only ever handed back.
struct GdkDisplay;
struct GtkSettings;
#endif

// One row per GTK function the glue calls: name, result, parameters, as GTK
// declares them (gpointer is void*, gchar is char).
#define ZYNE_GTK_FUNCTIONS(X)                                             \
    X(gdk_display_get_default, GdkDisplay*, (void))                       \
    X(gtk_settings_get_default, GtkSettings*, (void))                     \
    X(g_object_get, void, (void* object, const char* firstProperty, ...)) \
    X(gdk_beep, void, (void))

// The functions themselves, each member named after its GTK function.
struct Functions {
#define ZYNE_GTK_SLOT(Name, R, Params) R(*Name) Params;
    ZYNE_GTK_FUNCTIONS(ZYNE_GTK_SLOT)
#undef ZYNE_GTK_SLOT
};

#if defined(ZYNE_GTK_RUNTIME_BINDING)
// Plain statics: the library is single-threaded and starts no thread.
Functions gFunctions;
bool gBound = false;

// Bound on first use, from whatever the process has loaded; the host links GTK.
const Functions& Gtk() {
    if (!gBound) {
#define ZYNE_GTK_BIND(Name, R, Params) \
    gFunctions.Name = reinterpret_cast<R(*) Params>(dlsym(RTLD_DEFAULT, #Name));
        ZYNE_GTK_FUNCTIONS(ZYNE_GTK_BIND)
#undef ZYNE_GTK_BIND
        gBound = true;
    }
    return gFunctions;
}
#else
constexpr Functions kLinked = {
#define ZYNE_GTK_ADDRESS(Name, R, Params) &::Name,
    ZYNE_GTK_FUNCTIONS(ZYNE_GTK_ADDRESS)
#undef ZYNE_GTK_ADDRESS
};

const Functions& Gtk() {
    return kLinked;
}
#endif

// The display the host opened, or null when it opened none or GTK is absent.
// gdk_display_get_default() only reports: it neither opens a display nor warns.
GdkDisplay* OpenDisplay(const Functions& gtk) {
    return gtk.gdk_display_get_default != nullptr ? gtk.gdk_display_get_default() : nullptr;
}

}  // namespace

long DoubleClickTimeMs() {
    const Functions& gtk = Gtk();
    // Checked first: without a display GTK would answer with critical warnings.
    if (OpenDisplay(gtk) == nullptr) return kDefaultDoubleClickTimeMs;
    if (gtk.gtk_settings_get_default == nullptr || gtk.g_object_get == nullptr) {
        return kDefaultDoubleClickTimeMs;
    }
    GtkSettings* settings = gtk.gtk_settings_get_default();
    if (settings == nullptr) return kDefaultDoubleClickTimeMs;
    // g_object_get leaves the value alone when it cannot read the property.
    int value = kDefaultDoubleClickTimeMs;
    gtk.g_object_get(settings, "gtk-double-click-time", &value, nullptr);
    return value;
}

void Beep() {
    const Functions& gtk = Gtk();
    if (gtk.gdk_beep != nullptr && OpenDisplay(gtk) != nullptr) gtk.gdk_beep();
}

}  // namespace zyne::gtk
