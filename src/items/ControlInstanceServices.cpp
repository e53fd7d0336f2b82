// ControlInstanceServices.cpp - the design-time control services and the property
// family's control hooks, answering for PluginControlInstance objects.
//
// A guest asks these about the control it draws: where it is, whether it shows, whether
// it is enabled, its native widget and its window. For an object that is no design-time
// instance each gives the harmless failure answer (0, false, nil, out-parameters zeroed);
// the object is never read then (instances are recognised by the list of live ones).
#include "items/ControlInstanceServices.h"

#include <cstring>

#include "items/ControlInstance.h"

namespace {

// ZYNERect fields are 16 bits: bounds beyond them are clipped, not wrapped.
short Clipped(long value) {
    if (value > 32767) return 32767;
    if (value < -32768) return -32768;
    return static_cast<short>(value);
}

// The far edge of a coordinate and an extent, clipped as Clipped: a sum past the range of
// a long is past 16 bits on the same side.
short ClippedEdge(long start, long extent) {
    long edge = 0;
    if (__builtin_add_overflow(start, extent, &edge)) return extent > 0 ? 32767 : -32768;
    return Clipped(edge);
}

}  // namespace

void DesignControlGetBounds(ZYNEobject instance, ZYNERect* bounds) {
    if (bounds == nullptr) return;
    std::memset(bounds, 0, sizeof *bounds);
    const ControlPlacement* placement = PluginControlInstancePlacement(instance);
    if (placement == nullptr) return;
    bounds->left = Clipped(placement->left);
    bounds->top = Clipped(placement->top);
    bounds->right = ClippedEdge(placement->left, placement->width);
    bounds->bottom = ClippedEdge(placement->top, placement->height);
}

long DesignControlGetPosition(ZYNEobject instance, long which) {
    const ControlPlacement* placement = PluginControlInstancePlacement(instance);
    if (placement == nullptr) return 0;
    switch (which) {
        case kControlLeft:
            return placement->left;
        case kControlTop:
            return placement->top;
        case kControlWidth:
            return placement->width;
        case kControlHeight:
            return placement->height;
        default:
            return 0;
    }
}

void DesignControlSetPosition(ZYNEobject instance, long which, long value) {
    ControlPlacement* placement = PluginControlInstancePlacement(instance);
    if (placement == nullptr) return;
    long* field = nullptr;
    switch (which) {
        case kControlLeft:
            field = &placement->left;
            break;
        case kControlTop:
            field = &placement->top;
            break;
        case kControlWidth:
        case kControlHeight:
            // As Move: an extent is never negative.
            if (value < 0) value = 0;
            field = which == kControlWidth ? &placement->width : &placement->height;
            break;
        default:
            return;
    }
    if (*field == value) return;
    *field = value;
    PluginControlInstanceChanged(instance, ZYNE_CONTROL_BOUNDS_CHANGED);
}

unsigned char DesignControlGetVisible(ZYNEobject instance) {
    const ControlPlacement* placement = PluginControlInstancePlacement(instance);
    return placement != nullptr && placement->visible ? 1 : 0;
}

void DesignControlSetVisible(ZYNEobject instance, unsigned long visible) {
    ControlPlacement* placement = PluginControlInstancePlacement(instance);
    if (placement == nullptr || placement->visible == (visible != 0)) return;
    placement->visible = visible != 0;
    PluginControlInstanceChanged(instance, ZYNE_CONTROL_VISIBLE_CHANGED);
}

unsigned char DesignControlGetEnabled(ZYNEobject instance) {
    const ControlPlacement* placement = PluginControlInstancePlacement(instance);
    return placement != nullptr && placement->enabled ? 1 : 0;
}

// The host's setter takes a selector word first; there is only one enabled state.
void DesignControlSetEnabled(ZYNEobject instance, long, unsigned char enabled) {
    ControlPlacement* placement = PluginControlInstancePlacement(instance);
    if (placement == nullptr || placement->enabled == (enabled != 0)) return;
    placement->enabled = enabled != 0;
    PluginControlInstanceChanged(instance, ZYNE_CONTROL_ENABLED_CHANGED);
}

void* DesignControlGetHandle(ZYNEobject instance) {
    const ControlPlacement* placement = PluginControlInstancePlacement(instance);
    return placement != nullptr ? placement->box : nullptr;
}

ZYNEobject DesignControlGetWindow(ZYNEobject instance) {
    const ControlPlacement* placement = PluginControlInstancePlacement(instance);
    return placement != nullptr ? placement->window : nullptr;
}

bool IsDesignTimeControlInstance(ZYNEobject object) {
    return PluginControlInstancePlacement(object) != nullptr;
}

ZYNEobject DesignControlPropertyValue(ZYNEobject control, const char* name) {
    return PluginControlInstancePropertyValue(control, name);
}

bool DesignControlSetPropertyValue(ZYNEobject control, const char* name, ZYNEobject value) {
    return PluginControlInstanceSetPropertyValue(control, name, value);
}
