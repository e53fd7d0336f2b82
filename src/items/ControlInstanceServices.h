// ControlInstanceServices.h - the design-time control services the guest resolver answers
// itself, and the hooks through which the property family reaches control instances.
//
// A guest control asks its resolver for its bounds, position, visibility, enabled state,
// native handle and window. At design time those questions are about a control instance
// placed by the bridge, not about a control the host made, so the resolver answers them
// here. Each service has the signature of the host callback of the same name. For an
// object that is not a live design-time instance (items/ControlInstance.h) every service
// gives its harmless failure answer (0, false, nil, out-parameters zeroed). A change made
// through a setter is reported to the control's behaviour ("stateChanged"), once, and
// only when the value really changes.
#ifndef ZYNE_ITEMS_CONTROL_INSTANCE_SERVICES_H
#define ZYNE_ITEMS_CONTROL_INSTANCE_SERVICES_H

#include "hostapi/ZYNEPlugin.h"

// ----- Services handed to guests (host callback signatures) --------------------------------

/// "GetControlBounds": the control's bounds in its window (right = left + width, bottom =
/// top + height, each clipped to 16 bits). Zeroes *bounds for any other object.
void DesignControlGetBounds(ZYNEobject instance, ZYNERect* bounds);
/// "ctlPosGetter": one coordinate or extent of the control, chosen by `which`
/// (ControlPosition: 0 left, 1 top, 2 width, 3 height). 0 for another selector or object.
long DesignControlGetPosition(ZYNEobject instance, long which);
/// "ctlPosSetter": sets one coordinate or extent (a negative extent becomes 0). Does
/// nothing for another selector or object.
void DesignControlSetPosition(ZYNEobject instance, long which, long value);
/// "GetControlVisible": whether the control shows (true when made); false otherwise.
unsigned char DesignControlGetVisible(ZYNEobject instance);
/// "SetControlVisible": shows (nonzero) or hides the control; a hidden one draws nothing.
void DesignControlSetVisible(ZYNEobject instance, unsigned long visible);
/// "ZYNEGetControlEnabled": whether the control is enabled (true when made); false otherwise.
unsigned char DesignControlGetEnabled(ZYNEobject instance);
/// "controlEnabledSetter": enables or disables the control; `param` is not used.
void DesignControlSetEnabled(ZYNEobject instance, long param, unsigned char enabled);
/// "ZYNEGetControlHandle" and "GetControlHWND": the control's native widget, the realised
/// vertical box of its window (a GtkWidget* owned by the window). Null without GTK, a
/// display, a window or a box, and for any other object.
void* DesignControlGetHandle(ZYNEobject instance);
/// "getControlWindow": the window object holding the control, borrowed (the instance holds
/// it while it lives). Nil for a control made without a window, and for any other object.
ZYNEobject DesignControlGetWindow(ZYNEobject instance);

// ----- Hooks for the property family of the guest resolver ---------------------------------

/// Whether `object` is a live design-time custom control instance. The one hook the
/// property family asks first.
bool IsDesignTimeControlInstance(ZYNEobject object);
/// The value object of property `name` of a design-time control instance, locked for the
/// caller (a variant, read as the instance's "Prop" reads); nil when the control has no
/// such readable property or `control` is no design-time instance.
ZYNEobject DesignControlPropertyValue(ZYNEobject control, const char* name);
/// Hands the variant `value` to the control instance's property-value setter for `name`
/// (borrowed: the caller keeps and releases its reference), as "Prop" assigns. Whether at
/// least one property took it.
bool DesignControlSetPropertyValue(ZYNEobject control, const char* name, ZYNEobject value);

#endif  // ZYNE_ITEMS_CONTROL_INSTANCE_SERVICES_H
