// GtkGlue.h - the library's only door to GTK 2.
//
// Every GTK call the bridge makes goes through here, so a reader looking for
// "who talks to the toolkit" finds one file. The answers are meant for a host
// that is itself a GTK 2 program: the bridge never initialises GTK, never opens
// a display and never runs a main loop. When the process has no display open, or
// no GTK at all, each function gives the answer GTK itself gives by default.
//
// Two builds of the same functions: the native one links GTK; the one built with
// ZYNE_GTK_RUNTIME_BINDING (i386, where no GTK development files exist) looks
// the same functions up in the host process on first use.
//
// Design-time controls are placed in a window's vertical box; RealizedVerticalBox finds it.
#ifndef ZYNE_CORE_GTK_GLUE_H
#define ZYNE_CORE_GTK_GLUE_H

namespace zyne::gtk {

/// GTK's default for "gtk-double-click-time", in milliseconds.
inline constexpr long kDefaultDoubleClickTimeMs = 250;

/// The user's double-click interval in milliseconds: GTK's "gtk-double-click-time"
/// setting. kDefaultDoubleClickTimeMs when the process has no display open, when
/// GTK is not in the process or when the setting cannot be read. Read afresh on
/// every call: the user may change it while the host runs.
long DoubleClickTimeMs();

/// The vertical box (a GtkVBox) among the direct children of `window` (a GtkContainer,
/// typically a GtkWindow), realised so that it has a native window to draw in; the first
/// such child when there are several. Null when `window` is null or not a container, when
/// it holds no vertical box, when no display is open or when GTK is not in the process.
/// The box belongs to the window.
void* RealizedVerticalBox(void* window);

/// Rings the display's bell. Does nothing when no display is open or GTK is not in
/// the process.
void Beep();

}  // namespace zyne::gtk

#endif  // ZYNE_CORE_GTK_GLUE_H
