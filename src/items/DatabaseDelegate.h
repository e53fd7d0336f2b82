// DatabaseDelegate.h - the connection-dialog delegate and the services guests reach for
// their database dialogs and data sources at design time.
//
// Host code installs an object implementing the interface "PluginDBDialogDelegate"; the
// guest resolver hands guests the Pseudo... functions below in place of the host's own
// dialog and data-source services, so that a guest's connection dialog is drawn by that
// delegate. The last engine definition a guest named while turning its database into a
// host database is kept for the data source that connected it.
// Not here: the host-visible module that installs the delegate and the database classes;
// they call InstallDialogDelegate and LastEngineDefinition.
#ifndef ZYNE_ITEMS_DATABASE_DELEGATE_H
#define ZYNE_ITEMS_DATABASE_DELEGATE_H

#include "hostapi/ZYNEPlugin.h"

// ----- Delegate state -------------------------------------------------------------------

/// Installs `newDelegate`, which the bridge then holds locked; nil uninstalls. The
/// previously installed delegate (if any) is unlocked first, so installing the same
/// object again locks it once more and unlocks it once.
void InstallDialogDelegate(ZYNEobject newDelegate);
/// InstallDialogDelegate(nil).
void UninstallDialogDelegate();
/// The installed delegate (borrowed; the bridge holds the lock), or nil.
ZYNEobject InstalledDialogDelegate();
/// The engine definition most recently passed to PseudoGetdbDatabaseFromDBDatabase, or
/// nil. Owned by the guest library that passed it.
ZYNEdbEngineDefinition* LastEngineDefinition();

// ----- Services handed to guests (host callback signatures) ------------------------------

/// "ZYNEDBConnectionDialogCreate": the delegate's CreateDialog() window object, used as the
/// dialog handle (its reference passes to the guest, which ends it with
/// PseudoDBConnectionDialogDelete). 0 without a delegate or without that routine.
unsigned long PseudoDBConnectionDialogCreate();
/// "ZYNEDBConnectionDialogAddField": the delegate's AddField(dialog, label, defaultText,
/// isMasked). Does nothing without a delegate or without that routine.
void PseudoDBConnectionDialogAddField(unsigned long dialog, ZYNEstring label,
                                      ZYNEstring defaultText, unsigned char isMasked);
/// "ZYNEDBConnectionDialogShow": the string the delegate's ShowDialog(dialog, title)
/// answers (ownership as the delegate hands it out); nil without a delegate or routine.
ZYNEstring PseudoDBConnectionDialogShow(unsigned long dialog, ZYNEstring title);
/// "ZYNEDBConnectionDialogDelete": unlocks the dialog object; 0 is harmless.
void PseudoDBConnectionDialogDelete(unsigned long dialog);
/// "DesignAddDataSource": hands the delegate's AddDatasource the two names as host strings
/// tagged UTF-8 and a new memory block holding `length` bytes of `data`, then releases all
/// three. Does nothing without a delegate or without that routine.
void PseudoDesignAddDataSource(const char* displayName, const char* sourceName, char* data,
                               int length);
/// "ZYNEdbDatabaseFromDBDatabase": remembers `engine` as the last engine definition, then
/// answers what the host's service of that name answers for (db, engine); nil when the
/// host has none. The host is asked again on every call.
ZYNEobject PseudoGetdbDatabaseFromDBDatabase(dbDatabase* db, ZYNEdbEngineDefinition* engine);

#endif  // ZYNE_ITEMS_DATABASE_DELEGATE_H
