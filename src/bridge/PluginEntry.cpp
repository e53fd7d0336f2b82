// PluginEntry.cpp - registers the bridge's host-visible classes, its interface, its module
// and its two global methods, in the order the host expects: classes before anything
// whose declaration names them.
//
// Each registration is one line here.
#include "bridge/BridgeGlobals.h"
#include "bridge/PluginBridge.h"
#include "bridge/PluginDefinition.h"
#include "hostapi/ZYNEPlugin.h"
#include "items/ControlInstance.h"
#include "items/DatabaseClasses.h"
#include "items/PluginClassInstance.h"
#include "items/PluginItems.h"

void PluginEntry() {
    ZYNERegisterClass(&PluginMethodClassDefinition);                // 1
    ZYNERegisterClass(&PluginModuleClassDefinition);                // 2
    ZYNERegisterClass(&PluginPropertyClassDefinition);              // 3
    ZYNERegisterClass(&PluginClassInstanceClassDefinition);         // 4
    ZYNERegisterClass(&PluginClassClassDefinition);                 // 5
    ZYNERegisterClass(&PluginInterfaceClassDefinition);             // 6
    ZYNERegisterClass(&PluginControlInstanceClassDefinition);       // 7
    ZYNERegisterClass(&PluginControlClassDefinition);               // 8
    ZYNERegisterClass(&PluginBridgeClassDefinition);                // 9
    ZYNERegisterClass(&PluginDefinitionClassDefinition);            // 10
    ZYNERegisterClass(&PluginConstantClassDefinition);              // 11
    ZYNERegisterClass(&PluginDataSourceInterfaceClassDefinition);   // 12
    ZYNERegisterClass(&PluginDataSourceClassDefinition);            // 13
    ZYNERegisterClass(&PluginDatabaseEngineClassDefinition);        // 14
    ZYNERegisterInterface(&PluginDBDialogDelegateInterface);        // 15
    ZYNERegisterModule(&PluginDBDelgateModule);                     // 16
    ZYNERegisterMethod(&PluginBridgeSetProjFolderMethod);           // 17
    ZYNERegisterMethod(&PluginBridgeSetDefaultFontAndSizeMethod);   // 18
    ZYNERegisterClass(&PluginStructureClassDefinition);             // 19
    ZYNERegisterClass(&PluginEnumClassDefinition);                  // 20
}
