// DatabaseClasses.h - the host-visible database surface: a guest's database engines, data
// sources and data-source interfaces, the dialog delegate interface and the module that
// installs it.
//
// Guest engine definitions are opaque records; the bridge reads only these places of one
// (word i lies i machine words from the start; the option byte is the second byte of
// word 1, byte 5 on i386):
//   option byte   "GetOptions() As Integer"
//   word 7        create-table routine
//   word 11       add-column routine
//   word 18       supported-types routine
//   words 19-24   drop table, drop column, rename table, rename column, change column
//                 type, change column constraint
// The create-table and add-column routines receive DatabaseColumn records.
#ifndef ZYNE_ITEMS_DATABASE_CLASSES_H
#define ZYNE_ITEMS_DATABASE_CLASSES_H

#include "hostapi/ZYNEPlugin.h"

/// A column handed to a guest's create-table and add-column routines, five words. The
/// flag means opposite things in the two uses, on purpose: the column's allow-null value
/// for create-table, its mandatory flag for add-column. typeName is set by add-column only.
struct DatabaseColumn {
    DatabaseColumn* next;
    ZYNEstring name;
    long type;
    long flag;
    ZYNEstring typeName;
};

/// A new host "PluginDataSource" for a data source registered as (name, connect routine).
ZYNEobject NewPluginDataSourceObject(unsigned long name, unsigned long connect);
/// A new host "PluginDataSourceInterface" registered as (name, action routine).
ZYNEobject NewPluginDataSourceInterfaceObject(unsigned long name, unsigned long action);

/// The host classes, interface and module, registered by PluginEntry.
extern ZYNEclassDefinition PluginDataSourceInterfaceClassDefinition;
extern ZYNEclassDefinition PluginDataSourceClassDefinition;
extern ZYNEclassDefinition PluginDatabaseEngineClassDefinition;
extern ZYNEinterfaceDefinition PluginDBDialogDelegateInterface;
/// The module "PluginDatabaseDelegate" (the record's name is spelt so on purpose).
extern ZYNEmoduleDefinition PluginDBDelgateModule;

#endif  // ZYNE_ITEMS_DATABASE_CLASSES_H
