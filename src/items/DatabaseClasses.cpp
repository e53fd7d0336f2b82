// DatabaseClasses.cpp - PluginDataSourceInterface, PluginDataSource, PluginDatabaseEngine,
// the interface PluginDBDialogDelegate and the module PluginDatabaseDelegate.
//
// Nothing here reports a failure: a missing delegate, routine, host service or guest
// database pointer gives nil, false or no action.
#include "items/DatabaseClasses.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "bridge/ClassTables.h"
#include "items/DatabaseDelegate.h"
#include "items/PluginItemData.h"

using zyne::bridge::CountOf;
using zyne::bridge::MethodRow;
using zyne::bridge::PlainClass;
using zyne::bridge::Routine;

namespace {

// Instance data, one word per field, in this order.
struct DataSourceInterfaceData {
    const char* name;  // guest-owned text
    void (*action)(ZYNEobject self);
};

struct DataSourceData {
    const char* name;                      // guest-owned text
    ZYNEdbEngineDefinition* engine;        // set by a successful Action
    ZYNEobject (*connect)(void* data, long size);
};

struct DatabaseEngineData {
    long options;                    // the engine's option byte
    ZYNEobject supportTypes;         // a host Collection, held locked, or nil
    ZYNEdbEngineDefinition* engine;  // nil: every capability is missing
};

template <class Data>
Data* DataOf(ZYNEobject self, ZYNEclassDefinition* cls) {
    if (self == nullptr) return nullptr;
    return static_cast<Data*>(ZYNEGetClassData(self, cls));
}

// ----- Guest engine definitions ------------------------------------------------------------------

enum EngineWord : long {
    kCreateTable = 7,
    kAddColumn = 11,
    kSupportedTypes = 18,
    kDropTable = 19,
    kDropColumn = 20,
    kRenameTable = 21,
    kRenameColumn = 22,
    kChangeColumnType = 23,
    kChangeColumnConstraint = 24,
};

void* EngineRoutine(const ZYNEdbEngineDefinition* engine, EngineWord word) {
    if (engine == nullptr) return nullptr;
    return reinterpret_cast<void* const*>(engine)[word];
}

long EngineOptions(const ZYNEdbEngineDefinition* engine) {
    // The second byte of word 1.
    return reinterpret_cast<const unsigned char*>(engine)[sizeof(void*) + 1];
}

// ----- PluginDataSourceInterface -----------------------------------------------------------------

DataSourceInterfaceData* InterfaceDataOf(ZYNEobject self) {
    return DataOf<DataSourceInterfaceData>(self, &PluginDataSourceInterfaceClassDefinition);
}

void InterfaceConstruct(ZYNEobject self) {
    if (DataSourceInterfaceData* data = InterfaceDataOf(self)) *data = {};
}

ZYNEstring InterfaceName(ZYNEobject self) {
    const DataSourceInterfaceData* data = InterfaceDataOf(self);
    return data != nullptr ? NewUTF8HostString(data->name) : nullptr;
}

void InterfaceAction(ZYNEobject self) {
    const DataSourceInterfaceData* data = InterfaceDataOf(self);
    if (data != nullptr && data->action != nullptr) data->action(self);
}

ZYNEmethodDefinition PluginDataSourceInterfaceMethods[] = {
    MethodRow(Routine(&InterfaceName), "Name() as String"),
    MethodRow(Routine(&InterfaceAction), "Action()"),
};

// ----- PluginDatabaseEngine ----------------------------------------------------------------------

DatabaseEngineData* EngineDataOf(ZYNEobject self) {
    return DataOf<DatabaseEngineData>(self, &PluginDatabaseEngineClassDefinition);
}

void EngineConstruct(ZYNEobject self) {
    if (DatabaseEngineData* data = EngineDataOf(self)) *data = {};
}

void EngineDestruct(ZYNEobject self) {
    DatabaseEngineData* data = EngineDataOf(self);
    if (data == nullptr) return;
    if (data->supportTypes != nullptr) ZYNEUnlockObject(data->supportTypes);
    *data = {};
}

// The routine at `word` of the instance's engine, or nil.
template <class F>
F EngineRoutineOf(ZYNEobject self, EngineWord word) {
    const DatabaseEngineData* data = EngineDataOf(self);
    return reinterpret_cast<F>(data != nullptr ? EngineRoutine(data->engine, word) : nullptr);
}

ZYNEobject EngineGetSupportTypes(ZYNEobject self) {
    const DatabaseEngineData* data = EngineDataOf(self);
    if (data == nullptr || data->supportTypes == nullptr) return nullptr;
    ZYNELockObject(data->supportTypes);
    return data->supportTypes;
}

long EngineGetOptions(ZYNEobject self) {
    const DatabaseEngineData* data = EngineDataOf(self);
    return data != nullptr ? data->options : 0;
}

template <EngineWord Word>
bool EngineHas(ZYNEobject self) {
    return EngineRoutineOf<void*>(self, Word) != nullptr;
}

// Runs `call(guestDb, routine)` when both the guest database and the routine exist.
template <EngineWord Word, class F, class Call>
void WithRoutine(ZYNEobject self, ZYNEobject db, Call call) {
    const F routine = EngineRoutineOf<F>(self, Word);
    if (routine == nullptr || db == nullptr) return;
    dbDatabase* guestDb = ZYNEGetDBFromZYNEdbDatabase(db);
    if (guestDb == nullptr) return;
    call(guestDb, routine);
}

using CreateTableRoutine = void (*)(dbDatabase*, ZYNEstring, DatabaseColumn*, unsigned char*, long);

void EngineCreateTable(ZYNEobject self, ZYNEobject db, ZYNEstring tableName, void* columnNames,
                       void* columnTypes, void* allowNull, void* primaryKeys) {
    WithRoutine<kCreateTable, CreateTableRoutine>(self, db, [&](dbDatabase* guestDb,
                                                                CreateTableRoutine routine) {
        // Kept on purpose: the walk starts at the last column and goes on only while the
        // index is not below that same bound, so the list always holds the last column
        // alone. Records and key bytes belong to the guest afterwards.
        DatabaseColumn* list = nullptr;
        const long last = columnNames != nullptr ? ZYNEGetArrayUBound(columnNames) : -1;
        for (long i = last; i >= 0 && i >= last; --i) {
            auto* column = static_cast<DatabaseColumn*>(calloc(1, sizeof(DatabaseColumn)));
            if (column == nullptr) break;
            column->next = list;
            column->name = ZYNEGetArrayString(columnNames, static_cast<int>(i));
            column->type = columnTypes != nullptr ? ZYNEGetArrayInt(columnTypes, static_cast<int>(i)) : 0;
            column->flag = allowNull != nullptr ? ZYNEGetArrayInt(allowNull, static_cast<int>(i)) : 0;
            list = column;
        }
        const long keyCount = primaryKeys != nullptr ? ZYNEGetArrayUBound(primaryKeys) + 1 : 0;
        unsigned char* keys = nullptr;
        if (keyCount > 0) {
            keys = static_cast<unsigned char*>(malloc(static_cast<size_t>(keyCount)));
            if (keys == nullptr) return;
            for (long i = 0; i < keyCount; ++i)
                keys[i] = static_cast<unsigned char>(ZYNEGetArrayInt(primaryKeys, static_cast<int>(i)));
        }
        routine(guestDb, tableName, list, keys, keyCount > 0 ? keyCount : 0);
    });
}

using AddColumnRoutine = void (*)(dbDatabase*, ZYNEstring, DatabaseColumn*);

void EngineAddColumn(ZYNEobject self, ZYNEobject db, ZYNEstring tableName, ZYNEstring columnName,
                     ZYNEstring columnType, long columnTypeID, bool /*isPrimaryKey*/,
                     bool mandatory) {
    // isPrimaryKey is not passed on: the guest's routine has no place for it.
    WithRoutine<kAddColumn, AddColumnRoutine>(self, db, [&](dbDatabase* guestDb,
                                                            AddColumnRoutine routine) {
        DatabaseColumn column{nullptr, columnName, columnTypeID, mandatory ? 1 : 0, columnType};
        routine(guestDb, tableName, &column);
    });
}

using Strings2 = void (*)(dbDatabase*, ZYNEstring);
using Strings3 = void (*)(dbDatabase*, ZYNEstring, ZYNEstring);
using Strings4 = void (*)(dbDatabase*, ZYNEstring, ZYNEstring, ZYNEstring);
using Strings5 = void (*)(dbDatabase*, ZYNEstring, ZYNEstring, ZYNEstring, ZYNEstring);
using Strings6 = void (*)(dbDatabase*, ZYNEstring, ZYNEstring, ZYNEstring, ZYNEstring, ZYNEstring);

void EngineDropTable(ZYNEobject self, ZYNEobject db, ZYNEstring table) {
    WithRoutine<kDropTable, Strings2>(self, db, [&](dbDatabase* g, Strings2 r) { r(g, table); });
}

void EngineDropColumn(ZYNEobject self, ZYNEobject db, ZYNEstring table, ZYNEstring column) {
    WithRoutine<kDropColumn, Strings3>(self, db,
                                       [&](dbDatabase* g, Strings3 r) { r(g, table, column); });
}

void EngineAlterTableName(ZYNEobject self, ZYNEobject db, ZYNEstring oldName, ZYNEstring newName) {
    WithRoutine<kRenameTable, Strings3>(self, db,
                                        [&](dbDatabase* g, Strings3 r) { r(g, oldName, newName); });
}

void EngineAlterColumnName(ZYNEobject self, ZYNEobject db, ZYNEstring table, ZYNEstring oldName,
                           ZYNEstring newName) {
    WithRoutine<kRenameColumn, Strings4>(
        self, db, [&](dbDatabase* g, Strings4 r) { r(g, table, oldName, newName); });
}

void EngineAlterColumnType(ZYNEobject self, ZYNEobject db, ZYNEstring table, ZYNEstring column,
                           ZYNEstring oldType, ZYNEstring newType) {
    WithRoutine<kChangeColumnType, Strings5>(
        self, db, [&](dbDatabase* g, Strings5 r) { r(g, table, column, oldType, newType); });
}

void EngineAlterColumnConstraint(ZYNEobject self, ZYNEobject db, ZYNEstring table,
                                 ZYNEstring column, ZYNEstring which, ZYNEstring oldConstraint,
                                 ZYNEstring newConstraint) {
    WithRoutine<kChangeColumnConstraint, Strings6>(self, db, [&](dbDatabase* g, Strings6 r) {
        r(g, table, column, which, oldConstraint, newConstraint);
    });
}

ZYNEmethodDefinition PluginDatabaseEngineMethods[] = {
    MethodRow(Routine(&EngineGetSupportTypes), "GetSupportTypes() As Collection"),
    MethodRow(Routine(&EngineGetOptions), "GetOptions() As Integer"),
    MethodRow(Routine(&EngineHas<kCreateTable>), "HasCreateTableImplemented() As Boolean"),
    MethodRow(Routine(&EngineCreateTable),
              "CreateTable( db As Database, tableName As String, columnNames() As String, "
              "columnTypes() As Integer, allowNull() As Integer, primaryKeys() As Integer)"),
    MethodRow(Routine(&EngineHas<kDropTable>), "HasDropTableImplemented() As Boolean"),
    MethodRow(Routine(&EngineDropTable), "DropTable( db As Database, tableName As String)"),
    MethodRow(Routine(&EngineHas<kDropColumn>), "HasDropColumnImplemented() As Boolean"),
    MethodRow(Routine(&EngineDropColumn),
              "DropColumn( db As Database, tableName As String, columnName As String)"),
    MethodRow(Routine(&EngineHas<kRenameTable>), "HasAlterTableNameImplemented() As Boolean"),
    MethodRow(Routine(&EngineAlterTableName),
              "AlterTableName( db As Database, oldTableName As String, newTableName As String)"),
    MethodRow(Routine(&EngineHas<kRenameColumn>), "HasAlterColumnNameImplemented() As Boolean"),
    MethodRow(Routine(&EngineAlterColumnName),
              "AlterColumnName( db As Database, tableName As String, oldColumnName As String, "
              "newColumnName As String)"),
    MethodRow(Routine(&EngineHas<kChangeColumnType>), "HasAlterColumnTypeImplemented() As Boolean"),
    MethodRow(Routine(&EngineAlterColumnType),
              "AlterColumnType( db As Database, tableName As String, columnName As String, "
              "oldType As String, newType As String)"),
    MethodRow(Routine(&EngineHas<kChangeColumnConstraint>),
              "HasAlterColumnConstraintImplemented() As Boolean"),
    MethodRow(Routine(&EngineAlterColumnConstraint),
              "AlterColumnConstraint( db As Database, tableName As String, columnName As String, "
              "whichConstraint As String, oldConstraint As String, newConstraint As String)"),
    MethodRow(Routine(&EngineHas<kAddColumn>), "HasAddColumnImplemented() As Boolean"),
    MethodRow(Routine(&EngineAddColumn),
              "AddColumn( db As Database, tableName As String, columnName As String, "
              "columnType As String, columnTypeID As Integer, isPrimaryKey As Boolean, "
              "mandatory As Boolean)"),
};

// ----- PluginDataSource --------------------------------------------------------------------------

DataSourceData* SourceDataOf(ZYNEobject self) {
    return DataOf<DataSourceData>(self, &PluginDataSourceClassDefinition);
}

void SourceConstruct(ZYNEobject self) {
    if (DataSourceData* data = SourceDataOf(self)) *data = {};
}

ZYNEstring SourceName(ZYNEobject self) {
    const DataSourceData* data = SourceDataOf(self);
    return data != nullptr ? NewUTF8HostString(data->name) : nullptr;
}

ZYNEobject SourceAction(ZYNEobject self, ZYNEobject block) {
    DataSourceData* data = SourceDataOf(self);
    if (data == nullptr || data->connect == nullptr) return nullptr;
    void* bytes = block != nullptr ? ZYNEMemoryBlockGetPtr(block) : nullptr;
    const long size = block != nullptr ? ZYNEMemoryBlockGetSize(block) : 0;
    ZYNEobject database = data->connect(bytes, size);
    // The engine the guest named while connecting (through the database service the
    // resolver answers) is the one this source uses from now on.
    if (database != nullptr) data->engine = LastEngineDefinition();
    return database;
}

using SupportedTypesRoutine = void (*)(long** types, char** names, long* count);
using CollectionAdd = void (*)(ZYNEobject collection, ZYNEstring key, ZYNEobject value);

// Adds (type number i as text, variant of name i) to `collection` for every name the
// guest listed, up to its count. Empty pieces between commas stay empty names.
void FillSupportTypes(ZYNEobject collection, CollectionAdd add, const long* types,
                      const char* names, long count) {
    const char* piece = names != nullptr ? names : "";
    for (long i = 0; i < count && types != nullptr; ++i) {
        const char* comma = strchr(piece, ',');
        const size_t length = comma != nullptr ? static_cast<size_t>(comma - piece) : strlen(piece);
        char number[24];
        snprintf(number, sizeof number, "%ld", types[i]);
        ZYNEstring key = ZYNEBuildString(number, static_cast<int>(strlen(number)));
        ZYNEstring name = ZYNEBuildString(piece, static_cast<int>(length), 0x0600);
        ZYNEobject value = ZYNENewVariantString(name);
        // Kept on purpose: the number text goes first and the name's variant second,
        // whatever the declaration's parameter names suggest.
        add(collection, key, value);
        ZYNEUnlockString(key);
        ZYNEUnlockString(name);
        if (value != nullptr) ZYNEUnlockObject(value);
        if (comma == nullptr) break;  // no more names
        piece = comma + 1;
    }
}

ZYNEobject SourceGetDatabaseEngine(ZYNEobject self) {
    const DataSourceData* source = SourceDataOf(self);
    if (source == nullptr || source->engine == nullptr) return nullptr;
    ZYNEobject object = ZYNEnewInstance("PluginDatabaseEngine");
    DatabaseEngineData* engine = EngineDataOf(object);
    if (engine == nullptr) {
        if (object != nullptr) ZYNEUnlockObject(object);
        return nullptr;
    }
    engine->options = EngineOptions(source->engine);
    const auto listTypes =
        reinterpret_cast<SupportedTypesRoutine>(EngineRoutine(source->engine, kSupportedTypes));
    if (listTypes == nullptr) return object;  // no types and no engine: nothing implemented

    long* types = nullptr;
    char* names = nullptr;
    long count = 0;
    listTypes(&types, &names, &count);
    ZYNEobject collection = ZYNEnewInstance("Collection");
    const auto add = reinterpret_cast<CollectionAdd>(
        collection != nullptr
            ? ZYNELoadObjectMethod(collection, "Add(value as variant, key as string)")
            : nullptr);
    if (add != nullptr) FillSupportTypes(collection, add, types, names, count);
    engine->supportTypes = collection;
    engine->engine = source->engine;
    return object;
}

ZYNEmethodDefinition PluginDataSourceMethods[] = {
    MethodRow(Routine(&SourceAction), "Action( data as MemoryBlock ) as Database"),
    MethodRow(Routine(&SourceName), "Name() as String"),
    MethodRow(Routine(&SourceGetDatabaseEngine), "GetDatabaseEngine() as PluginDatabaseEngine"),
};

// ----- The delegate module and interface ---------------------------------------------------------

void DatabaseDialogDelgate(ZYNEobject newDelegate) { InstallDialogDelegate(newDelegate); }

ZYNEmethodDefinition PluginDBDelgateModuleMethods[] = {
    // The misspelt name is the one host code calls; kept on purpose.
    MethodRow(Routine(&DatabaseDialogDelgate),
              "DatabaseDialogDelgate( assigns newDelegate as PluginDBDialogDelegate )"),
};

ZYNEmethodDefinition PluginDBDialogDelegateMethods[] = {
    MethodRow(nullptr, "CreateDialog() as Window"),
    MethodRow(nullptr,
              "AddField( dialog as Window, label as String, defaultText as String, isMasked as "
              "Boolean )"),
    MethodRow(nullptr, "ShowDialog( dialog as Window, title as String ) as String"),
    MethodRow(nullptr,
              "AddDatasource( displayName as String, sourceName as String, data as MemoryBlock )"),
};

}  // namespace

ZYNEclassDefinition PluginDataSourceInterfaceClassDefinition =
    PlainClass("PluginDataSourceInterface", sizeof(DataSourceInterfaceData), &InterfaceConstruct,
               nullptr, nullptr, 0, PluginDataSourceInterfaceMethods,
               CountOf(PluginDataSourceInterfaceMethods));
ZYNEclassDefinition PluginDataSourceClassDefinition =
    PlainClass("PluginDataSource", sizeof(DataSourceData), &SourceConstruct, nullptr, nullptr, 0,
               PluginDataSourceMethods, CountOf(PluginDataSourceMethods));
ZYNEclassDefinition PluginDatabaseEngineClassDefinition =
    PlainClass("PluginDatabaseEngine", sizeof(DatabaseEngineData), &EngineConstruct,
               &EngineDestruct, nullptr, 0, PluginDatabaseEngineMethods,
               CountOf(PluginDatabaseEngineMethods));

ZYNEinterfaceDefinition PluginDBDialogDelegateInterface = {
    ZYNE_RECORD_VERSION, "PluginDBDialogDelegate", PluginDBDialogDelegateMethods,
    CountOf(PluginDBDialogDelegateMethods)};

ZYNEmoduleDefinition PluginDBDelgateModule = {
    .version = ZYNE_RECORD_VERSION,
    .name = "PluginDatabaseDelegate",
    .methods = PluginDBDelgateModuleMethods,
    .methodCount = CountOf(PluginDBDelgateModuleMethods),
    .constants = nullptr,
    .constantCount = 0,
    .properties = nullptr,
    .propertyCount = 0,
    .structures = nullptr,
    .structureCount = 0,
    .enums = nullptr,
    .enumCount = 0};

ZYNEobject NewPluginDataSourceObject(unsigned long name, unsigned long connect) {
    ZYNEobject object = ZYNEnewInstance("PluginDataSource");
    DataSourceData* data = SourceDataOf(object);
    if (data == nullptr) {
        if (object != nullptr) ZYNEUnlockObject(object);
        return nullptr;
    }
    data->name = reinterpret_cast<const char*>(name);
    data->connect = reinterpret_cast<ZYNEobject (*)(void*, long)>(connect);
    return object;
}

ZYNEobject NewPluginDataSourceInterfaceObject(unsigned long name, unsigned long action) {
    ZYNEobject object = ZYNEnewInstance("PluginDataSourceInterface");
    DataSourceInterfaceData* data = InterfaceDataOf(object);
    if (data == nullptr) {
        if (object != nullptr) ZYNEUnlockObject(object);
        return nullptr;
    }
    data->name = reinterpret_cast<const char*>(name);
    data->action = reinterpret_cast<void (*)(ZYNEobject)>(action);
    return object;
}
