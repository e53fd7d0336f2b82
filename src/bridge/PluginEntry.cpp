// PluginEntry.cpp - registers the bridge's host-visible classes, in the order the
// host expects: classes before anything whose declaration names them.
//
// The list grows with the bridge; each registration is one line here. Items whose
// classes do not exist yet keep their place as a comment.
#include "bridge/BridgeGlobals.h"
#include "bridge/PluginBridge.h"
#include "bridge/PluginDefinition.h"
#include "hostapi/ZYNEPlugin.h"

void PluginEntry() {
    // 1  PluginMethod                (item classes)
    // 2  PluginModule                (item classes)
    // 3  PluginProperty              (item classes)
    // 4  PluginClassInstance         (design-time class instances)
    // 5  PluginClass                 (item classes)
    // 6  PluginInterface             (item classes)
    // 7  PluginControlInstance       (design-time control instances)
    // 8  PluginControl               (item classes)
    ZYNERegisterClass(&PluginBridgeClassDefinition);      // 9
    ZYNERegisterClass(&PluginDefinitionClassDefinition);  // 10
    // 11 PluginConstant              (item classes)
    // 12 PluginDataSourceInterface   (database surface)
    // 13 PluginDataSource            (database surface)
    // 14 PluginDatabaseEngine        (database surface)
    // 15 interface PluginDBDialogDelegate, ZYNERegisterInterface (database surface)
    // 16 module PluginDatabaseDelegate (record PluginDBDelgateModule), ZYNERegisterModule
    ZYNERegisterMethod(&PluginBridgeSetProjFolderMethod);          // 17
    ZYNERegisterMethod(&PluginBridgeSetDefaultFontAndSizeMethod);  // 18
    // 19 PluginStructure             (item classes)
    // 20 PluginEnum                  (item classes)
}
