// DatabaseGuest.cpp - a guest plug-in with database engines and data sources that writes
// down every call it receives, for the database surface tests.
//
// Each call is reported as one line through the host service "DatabaseGuestRecord"
// (asked for through the resolver like any host service; a host without it hears
// nothing). Host strings appear quoted, null as null, the guest's databases by name.
//
//   engine "full": all nine routines, option byte 0x5A; its supported types are
//                  3 "Integer", 5 "", 7 "Text" (the names run out before the count of 4)
//   engine "bare": the same routines except the supported-types routine, option byte 0x11
//   data source "Full Source"   connects to database "full" of engine "full"
//   data source "Bare Source"   connects to database "bare" of engine "bare"
//   data source "Nil Source"    names engine "full" but answers no database
//   data source "Dialog Source" runs a connection dialog, adds a data source, answers none
//   data-source interface "Guest Interface"
#include <ZYNEPlugin.h>

#include <cstdio>
#include <cstdlib>
#include <string>

// The guest's own database, opaque to bridge and host.
struct dbDatabase {
    const char* name;
};

namespace {

struct Column {  // as the bridge hands columns over: five words
    Column* next;
    ZYNEstring name;
    long type;
    long flag;
    ZYNEstring typeName;
};

void Note(const std::string& line) {
    using Recorder = void (*)(const char*);
    if (auto record = reinterpret_cast<Recorder>(HCallResolver("DatabaseGuestRecord")))
        record(line.c_str());
}

std::string Text(ZYNEstring string) {
    if (string == nullptr) return "null";
    unsigned long length = 0;
    const char* bytes = ZYNEGetStringContents(string, &length);
    return "\"" + std::string(bytes, length) + "\"";
}

dbDatabase gFullDatabase{"full"};
dbDatabase gBareDatabase{"bare"};

std::string Name(dbDatabase* db) {
    return db != nullptr ? db->name : "null";
}

std::string Describe(const Column* column) {
    return Text(column->name) + ":" + std::to_string(column->type) + ":" +
           std::to_string(column->flag) + ":" + Text(column->typeName);
}

// ----- Engine routines ---------------------------------------------------------------------------

void CreateTable(dbDatabase* db, ZYNEstring table, Column* columns, unsigned char* keys, long count) {
    std::string line = "CreateTable " + Name(db) + " " + Text(table) + " columns=[";
    for (const Column* c = columns; c != nullptr; c = c->next)
        line += (c != columns ? "|" : "") + Describe(c);
    line += "] keys=" + std::string(keys != nullptr ? "[" : "null");
    for (long i = 0; keys != nullptr && i < count; ++i)
        line += (i > 0 ? "," : "") + std::to_string(keys[i]);
    line += std::string(keys != nullptr ? "]" : "") + " count=" + std::to_string(count);
    Note(line);
    // The records and key bytes are the guest's from now on.
    while (columns != nullptr) {
        Column* next = columns->next;
        std::free(columns);
        columns = next;
    }
    std::free(keys);
}

void AddColumn(dbDatabase* db, ZYNEstring table, Column* column) {
    Note("AddColumn " + Name(db) + " " + Text(table) + " " + Describe(column) +
         (column->next == nullptr ? " next=null" : " next=set"));
}

long gTypes[] = {3, 5, 7, 9};
char gTypeNames[] = "Integer,,Text";

void SupportedTypes(long** types, char** names, long* count) {
    Note("SupportedTypes");
    *types = gTypes;
    *names = gTypeNames;
    *count = 4;
}

void DropTable(dbDatabase* db, ZYNEstring a) {
    Note("DropTable " + Name(db) + " " + Text(a));
}
void DropColumn(dbDatabase* db, ZYNEstring a, ZYNEstring b) {
    Note("DropColumn " + Name(db) + " " + Text(a) + " " + Text(b));
}
void RenameTable(dbDatabase* db, ZYNEstring a, ZYNEstring b) {
    Note("RenameTable " + Name(db) + " " + Text(a) + " " + Text(b));
}
void RenameColumn(dbDatabase* db, ZYNEstring a, ZYNEstring b, ZYNEstring c) {
    Note("RenameColumn " + Name(db) + " " + Text(a) + " " + Text(b) + " " + Text(c));
}
void ChangeColumnType(dbDatabase* db, ZYNEstring a, ZYNEstring b, ZYNEstring c, ZYNEstring d) {
    Note("ChangeColumnType " + Name(db) + " " + Text(a) + " " + Text(b) + " " + Text(c) + " " +
         Text(d));
}
void ChangeColumnConstraint(dbDatabase* db, ZYNEstring a, ZYNEstring b, ZYNEstring c, ZYNEstring d,
                            ZYNEstring e) {
    Note("ChangeColumnConstraint " + Name(db) + " " + Text(a) + " " + Text(b) + " " + Text(c) +
         " " + Text(d) + " " + Text(e));
}

// Engine definitions: the bridge reads words 7, 11 and 18-24 and the option byte (the
// second byte of word 1); the other words are left zero.
void* gFullEngine[25];
void* gBareEngine[25];

ZYNEdbEngineDefinition* Engine(void** words) {
    return reinterpret_cast<ZYNEdbEngineDefinition*>(words);
}

void FillEngine(void** words, unsigned char options, bool withTypes) {
    words[7] = reinterpret_cast<void*>(&CreateTable);
    words[11] = reinterpret_cast<void*>(&AddColumn);
    words[18] = withTypes ? reinterpret_cast<void*>(&SupportedTypes) : nullptr;
    words[19] = reinterpret_cast<void*>(&DropTable);
    words[20] = reinterpret_cast<void*>(&DropColumn);
    words[21] = reinterpret_cast<void*>(&RenameTable);
    words[22] = reinterpret_cast<void*>(&RenameColumn);
    words[23] = reinterpret_cast<void*>(&ChangeColumnType);
    words[24] = reinterpret_cast<void*>(&ChangeColumnConstraint);
    reinterpret_cast<unsigned char*>(&words[1])[1] = options;
}

// ----- Data sources ----------------------------------------------------------------------------

// The bytes with each NUL written as \0, so the line survives as a C text.
std::string Bytes(const void* data, long size) {
    std::string text;
    for (long i = 0; data != nullptr && i < size; ++i) {
        const char c = static_cast<const char*>(data)[i];
        text += c == '\0' ? std::string("\\0") : std::string(1, c);
    }
    return text;
}

void NoteConnect(const char* source, void* data, long size) {
    Note(std::string("connect ") + source + " size=" + std::to_string(size) + " bytes=\"" +
         Bytes(data, size) + "\"");
}

ZYNEobject ConnectFull(void* data, long size) {
    NoteConnect("Full", data, size);
    return ZYNEdbDatabaseFromDBDatabase(&gFullDatabase, Engine(gFullEngine));
}

ZYNEobject ConnectBare(void* data, long size) {
    NoteConnect("Bare", data, size);
    return ZYNEdbDatabaseFromDBDatabase(&gBareDatabase, Engine(gBareEngine));
}

ZYNEobject ConnectNil(void* data, long size) {
    NoteConnect("Nil", data, size);
    // Names an engine, but the host makes no database of a null one.
    return ZYNEdbDatabaseFromDBDatabase(nullptr, Engine(gFullEngine));
}

ZYNEobject ConnectWithDialog(void* data, long size) {
    NoteConnect("Dialog", data, size);
    const unsigned long dialog = ZYNEDBConnectionDialogCreate();
    Note(std::string("dialog ") + (dialog != 0 ? "made" : "0"));
    ZYNEstring label = ZYNEBuildString("Host", 4);
    ZYNEstring preset = ZYNEBuildString("localhost", 9);
    ZYNEDBConnectionDialogAddField(dialog, label, preset, 1);
    ZYNEUnlockString(label);
    ZYNEUnlockString(preset);
    ZYNEstring title = ZYNEBuildString("Connect", 7);
    ZYNEstring answer = ZYNEDBConnectionDialogShow(dialog, title);
    ZYNEUnlockString(title);
    Note("answer " + Text(answer));
    if (answer != nullptr) ZYNEUnlockString(answer);
    ZYNEDBConnectionDialogDelete(dialog);
    ZYNEDesignAddDataSource("Display", "source-name", static_cast<char*>(data), static_cast<int>(size));
    return nullptr;
}

void InterfaceAction(ZYNEobject self) {
    char text[32];
    std::snprintf(text, sizeof text, "%p", static_cast<void*>(self));
    Note(std::string("interface action ") + text);
}

}  // namespace

void PluginEntry() {
    FillEngine(gFullEngine, 0x5A, true);
    FillEngine(gBareEngine, 0x11, false);
    ZYNERegisterDBEngine(Engine(gFullEngine));
    ZYNERegisterDBEngine(Engine(gBareEngine));
    ZYNERegisterDataSource("Full Source", reinterpret_cast<void*>(&ConnectFull));
    ZYNERegisterDataSource("Bare Source", reinterpret_cast<void*>(&ConnectBare));
    ZYNERegisterDataSource("Nil Source", reinterpret_cast<void*>(&ConnectNil));
    ZYNERegisterDataSource("Dialog Source", reinterpret_cast<void*>(&ConnectWithDialog));
    ZYNERegisterDataSourceInterface("Guest Interface", reinterpret_cast<void*>(&InterfaceAction));
}
