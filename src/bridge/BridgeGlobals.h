// BridgeGlobals.h - the bridge's process-wide values and its two global methods.
//
// The current definition and bridge name the load in progress (nil when idle). The
// project folder, default font and default font size are what the host last set through
// "PluginBridgeSetProjFolder" and "PluginBridgeSetDefaultFontAndSize". The temporary data
// folder item and its clean-up flag are the loader's; a bridge's destructor sweeps them.
// Plain globals: one thread (the host's) and no re-entrant loads.
#ifndef ZYNE_BRIDGE_BRIDGE_GLOBALS_H
#define ZYNE_BRIDGE_BRIDGE_GLOBALS_H

#include <cstdint>

#include "hostapi/ZYNEPlugin.h"

class FolderItemImp;
class PluginBridge;
class PluginDefinition;

/// The host's project folder object, held locked; nil at start.
extern ZYNEobject gProjectFile;
/// The default control font name, held locked; nil at start.
extern ZYNEstring gDefaultFont;
/// The default control font size; 0 at start.
extern int32_t gDefaultFontSize;

/// The record that registrations of the guest being loaded go into; nil when idle.
PluginDefinition* GetCurrentPluginDefinition();
/// The bridge that is loading; nil when idle.
PluginBridge* GetCurrentPluginBridge();
/// Set by the loader around a guest's entry point; nil, nil when it returns.
void SetCurrentPluginDefinition(PluginDefinition* record);
void SetCurrentPluginBridge(PluginBridge* bridge);

/// gProjectFile locked once more; the caller unlocks it. Nil when none was set.
ZYNEobject GetProjectFolder();
/// gDefaultFont locked once more; the caller unlocks it. Nil when none was set.
ZYNEstring GetDefaultFont();
/// gDefaultFontSize.
int32_t GetDefaultFontSize();

/// The temporary data folder item, owned here; nil until the loader makes one.
FolderItemImp*& TemporaryDataFolder();
/// False once the temporary data folder has fallen back to the shared "/tmp", which is
/// never swept. True at start.
bool& TemporaryDataFolderCleanUp();

/// The global method records, registered by PluginEntry.
extern ZYNEmethodDefinition PluginBridgeSetProjFolderMethod;
extern ZYNEmethodDefinition PluginBridgeSetDefaultFontAndSizeMethod;

#endif  // ZYNE_BRIDGE_BRIDGE_GLOBALS_H
