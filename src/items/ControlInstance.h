// ControlInstance.h - design-time instances of guest controls: the host class
// "PluginControlInstance", a guest control placed in a design window.
//
// Instance data of a PluginControlInstance object, four machine words:
//   OFFSET   SIZE    FIELD      MEANING
//   0        1 word  control    the guest's ZYNEcontrol*, owned by the guest library
//   1 word   1 word  guestData  the guest's own instance data: dataSize bytes, malloc'ed
//   2 words  1 word  placement  bounds, visibility, enabled state, window, native box
//   3 words  1 word  owner      the PluginDefinition that loaded the guest: one reference,
//                               so that the guest's code stays loaded while it is used
// The guest's data does not fit in four words, so it lives in its own block, and the
// control record's dataOffset is set to the distance from the instance to that block
// before every call into the guest: the guest's own ZYNEGetControlData(instance, record)
// then lands on it, as ZYNEGetClassData does for class instances. With two instances of
// one control alive, the offset names whichever instance the bridge called last.
//
// The methods: "Move" sets the bounds, "Draw" hands the host's graphics to the behaviour's
// redraw entry, "Prop" reads and assigns the guest's properties by their type word; the
// destructor runs the behaviour's destructor. Not here: mouse and key events (the designer
// does not forward them), and any widget of the control's own.
#ifndef ZYNE_ITEMS_CONTROL_INSTANCE_H
#define ZYNE_ITEMS_CONTROL_INSTANCE_H

#include "hostapi/ZYNEPlugin.h"

class PluginDefinition;

/// Where a design-time control sits and how it shows; window coordinates in pixels.
struct ControlPlacement {
    long left = 0;
    long top = 0;
    long width = 0;
    long height = 0;
    bool visible = true;
    bool enabled = true;
    ZYNEobject window = nullptr;  ///< the parent window, one lock held; nil for none
    void* box = nullptr;          ///< the window's realised vertical box; null without GTK
    ZYNEobject instance = nullptr;     ///< the instance this placement belongs to
    ControlPlacement* next = nullptr;  ///< the list of live instances
};

/// Selectors of "ctlPosGetter" and "ctlPosSetter".
enum ControlPosition : long {
    kControlLeft = 0,
    kControlTop = 1,
    kControlWidth = 2,
    kControlHeight = 3,
};

/// A new "PluginControlInstance" of the guest control `control`, placed in `parentWindow`
/// (may be nil) at (0, 0) with the control's default size (an extent below 0 taken as 0),
/// visible and enabled, with its guest data zeroed and the behaviour's constructor run.
/// Takes one reference on `owner` (may be null) and one lock on the window. The caller owns
/// the object's one reference.
/// Nil for a null record, a negative data size, a failed allocation or no host object.
ZYNEobject PluginControlInstanceCreate(ZYNEcontrol* control, PluginDefinition* owner,
                                       ZYNEobject parentWindow);

/// The placement of a live design-time control instance, owned by the instance; null for
/// any other object (nil included). Safe to ask about any object: instances are found in
/// the list of live ones, never by reading the object.
ControlPlacement* PluginControlInstancePlacement(ZYNEobject object);

/// Tells the instance's behaviour that `what` (ZYNE_CONTROL_* bits) changed.
void PluginControlInstanceChanged(ZYNEobject instance, unsigned long what);

/// The value of property `name` of a design-time instance as a new variant (the caller owns
/// it), read as "Prop" reads it; nil for an unknown name or an unreadable property.
ZYNEobject PluginControlInstancePropertyValue(ZYNEobject instance, const char* name);

/// Assigns `value` (a variant, borrowed) to every property `name` of the instance, as "Prop"
/// assigns. Whether at least one property took the value.
bool PluginControlInstanceSetPropertyValue(ZYNEobject instance, const char* name,
                                           ZYNEobject value);

/// The host-visible class "PluginControlInstance": version 9, four words of data, a
/// destructor, and the methods Prop (getter and setter), Draw and Move.
extern ZYNEclassDefinition PluginControlInstanceClassDefinition;

#endif  // ZYNE_ITEMS_CONTROL_INSTANCE_H
