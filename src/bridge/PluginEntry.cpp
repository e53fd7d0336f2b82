// PluginEntry.cpp - registers the bridge's host-visible classes, in the order the
// host expects: classes before anything whose declaration names them.
//
// The list grows with the bridge; each registration is one line here.
#include "hostapi/ZYNEPlugin.h"

void PluginEntry() {}
