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
struct GtkWidget;
struct GtkContainer;
struct GTypeInstance;
// GLib's doubly linked list, whose layout is part of GLib's interface.
struct GList {
    void* data;
    GList* next;
    GList* prev;
};
using GType = unsigned long;
using gboolean = int;
#endif

// One row per GTK function the glue calls: name, result, parameters, as GTK
// declares them (gpointer is void*, gchar is char).
#define ZYNE_GTK_FUNCTIONS(X)                                             \
    X(gdk_display_get_default, GdkDisplay*, (void))                       \
    X(gtk_settings_get_default, GtkSettings*, (void))                     \
    X(g_object_get, void, (void* object, const char* firstProperty, ...)) \
    X(gdk_beep, void, (void))                                             \
    X(gtk_container_get_type, GType, (void))                              \
    X(gtk_vbox_get_type, GType, (void))                                   \
    X(g_type_check_instance_is_a, gboolean,                               \
      (GTypeInstance * instance, GType ifaceType))                        \
    X(gtk_container_get_children, GList*, (GtkContainer * container))     \
    X(g_list_free, void, (GList * list))                                  \
    X(gtk_widget_realize, void, (GtkWidget * widget))

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

// Whether `object` is a GObject instance of `type` or of a type derived from it.
bool IsA(const Functions& gtk, void* object, GType type) {
    return gtk.g_type_check_instance_is_a(static_cast<GTypeInstance*>(object), type) != 0;
}

}  // namespace

void* RealizedVerticalBox(void* window) {
    const Functions& gtk = Gtk();
    if (window == nullptr || OpenDisplay(gtk) == nullptr) return nullptr;
    if (gtk.gtk_container_get_type == nullptr || gtk.gtk_vbox_get_type == nullptr ||
        gtk.g_type_check_instance_is_a == nullptr || gtk.gtk_container_get_children == nullptr ||
        gtk.g_list_free == nullptr || gtk.gtk_widget_realize == nullptr)
        return nullptr;
    // Checked first: GTK answers a widget that is no container with critical warnings.
    if (!IsA(gtk, window, gtk.gtk_container_get_type())) return nullptr;
    GList* children = gtk.gtk_container_get_children(static_cast<GtkContainer*>(window));
    const GType vbox = gtk.gtk_vbox_get_type();
    void* box = nullptr;
    for (GList* item = children; item != nullptr; item = item->next) {
        if (item->data != nullptr && IsA(gtk, item->data, vbox)) {
            box = item->data;
            break;
        }
    }
    // The list is ours, its widgets the window's.
    gtk.g_list_free(children);
    if (box != nullptr) gtk.gtk_widget_realize(static_cast<GtkWidget*>(box));
    return box;
}

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
