// HostDatabases.cpp - the host's databases as far as plug-ins reach them:
// "ZYNEdbDatabaseFromDBDatabase" and "ZYNEGetDBFromZYNEdbDatabase".
//
// A host database is an object of the class "Database" that wraps a plug-in's own
// database pointer and the engine definition it belongs to; the host never looks inside
// either. Nothing is connected or queried here.
//
//   OFFSET   SIZE     FIELD    MEANING
//   6 words  1 word   db       the plug-in's database pointer (its dbDatabase)
//   7 words  1 word   engine   the plug-in's engine definition, or null
#include "HostState.h"

namespace zyne::host {

namespace {

struct DatabaseData {
    dbDatabase* db;
    ZYNEdbEngineDefinition* engine;
};

ZYNEclassDefinition gDatabaseClass = detail::HostClassRecord("Database", sizeof(DatabaseData));

DatabaseData* LiveDatabase(const detail::HostState& state, ZYNEobject object) {
    const ClassInfo* info = state.ClassInfoOf(object);
    if (info == nullptr || info->record != &gDatabaseClass) return nullptr;
    return reinterpret_cast<DatabaseData*>(reinterpret_cast<char*>(object) + gDatabaseClass.dataOffset);
}

ZYNEobject MakeDatabase(detail::HostState& state, dbDatabase* db, ZYNEdbEngineDefinition* engine) {
    ZYNEobject object = state.NewObject(state.HostClassOf(&gDatabaseClass));
    if (DatabaseData* data = LiveDatabase(state, object)) *data = {db, engine};
    return object;
}

// A new host database (count 1, the caller's) for the plug-in's database; null for null.
ZYNEobject DatabaseFromDBDatabase(dbDatabase* db, ZYNEdbEngineDefinition* engine) {
    detail::HostState& state = detail::CurrentState();
    state.Called("ZYNEdbDatabaseFromDBDatabase", static_cast<void*>(db), static_cast<void*>(engine));
    return db != nullptr ? MakeDatabase(state, db, engine) : nullptr;
}

dbDatabase* GetDBFromDatabase(ZYNEobject database) {
    detail::HostState& state = detail::CurrentState();
    state.Called("ZYNEGetDBFromZYNEdbDatabase", database);
    if (database == nullptr) return nullptr;
    const DatabaseData* data = LiveDatabase(state, database);
    if (data == nullptr) {
        state.Fault("ZYNEGetDBFromZYNEdbDatabase on an object that is not a database");
        return nullptr;
    }
    return data->db;
}

const detail::ServiceRow kDatabaseServices[] = {
    {"ZYNEdbDatabaseFromDBDatabase", reinterpret_cast<void*>(&DatabaseFromDBDatabase)},
    {"ZYNEGetDBFromZYNEdbDatabase", reinterpret_cast<void*>(&GetDBFromDatabase)},
};

}  // namespace

ZYNEclassDefinition& detail::DatabaseClassRecord() {
    return gDatabaseClass;
}

std::span<const detail::ServiceRow> detail::DatabaseServices() {
    return kDatabaseServices;
}

ZYNEobject ReferenceHost::NewDatabase(void* guestDatabase, void* engine) {
    return MakeDatabase(*state_, static_cast<dbDatabase*>(guestDatabase),
                        static_cast<ZYNEdbEngineDefinition*>(engine));
}

void* ReferenceHost::DatabaseGuestPointer(ZYNEobject database) const {
    const DatabaseData* data = LiveDatabase(*state_, database);
    return data != nullptr ? static_cast<void*>(data->db) : nullptr;
}

void* ReferenceHost::DatabaseEngine(ZYNEobject database) const {
    const DatabaseData* data = LiveDatabase(*state_, database);
    return data != nullptr ? static_cast<void*>(data->engine) : nullptr;
}

}  // namespace zyne::host
