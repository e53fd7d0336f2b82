// ToolsA.cpp - the first library of the Tools sample: global methods, a module, structures,
// enumerations, an interface and a small database engine with its data sources.
//
// Everything here lives outside classes. The database part shows the records the host's
// database layer reads only by position (the engine definition is a run of words), the
// connection dialog a data source interface opens, and a data source that turns saved
// connection bytes back into a database.
#include <ZYNEPlugin.h>

#include <cstdio>
#include <cstring>

namespace {

template <class F>
void* Routine(F function) {
    return reinterpret_cast<void*>(function);
}

ZYNEstring NewString(const char* text) {
    return ZYNEBuildString(text, static_cast<int>(std::strlen(text)));
}

constexpr unsigned long kGlobal = 16;
constexpr unsigned long kPublic = 32;
constexpr unsigned long kPrivate = 128;

// ----- Global methods ----------------------------------------------------------------------

long SampleAdd(long a, long b) {
    return a + b;
}

// The text in capitals; a new string the caller releases.
ZYNEstring SampleShout(ZYNEstring text) {
    unsigned long length = 0;
    const char* bytes = ZYNEGetStringContents(text, &length);
    char upper[256];
    if (length >= sizeof upper) length = sizeof upper - 1;
    for (unsigned long i = 0; i < length; ++i) {
        const char c = bytes[i];
        upper[i] = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    }
    upper[length] = '\0';
    return NewString(upper);
}

ZYNEmethodDefinition SampleAddMethod = {Routine(&SampleAdd), nullptr,
                                        "SampleAdd( a as Integer, b as Integer ) as Integer", 0};
ZYNEmethodDefinition SampleShoutMethod = {Routine(&SampleShout), nullptr,
                                          "SampleShout( text as String ) as String", 0};

// ----- Structures and enumerations outside any module ---------------------------------------

const char* PointFields[] = {"x as Integer", "y as Integer"};
ZYNEstructure SamplePoint = {"SamplePoint", kPublic, PointFields, 2};

const char* DirectionValues[] = {"North = 0", "East = 90", "South = 180", "West = 270"};
ZYNEenum SampleDirection = {"SampleDirection", "Integer", kGlobal, DirectionValues, 4};

// ----- The module SampleMath (version 9: with properties, structures and enumerations) -----

long gPrecision = 6;

long PrecisionGetter(ZYNEobject, long) {
    return gPrecision;
}
void PrecisionSetter(ZYNEobject, long, long value) {
    gPrecision = value;
}

double Half(double value) {
    return value / 2;
}

long Clamp(long value, long low, long high) {
    return value < low ? low : value > high ? high : value;
}

ZYNEmethodDefinition MathMethods[] = {
    {Routine(&Half), nullptr, "Half( value as Double ) as Double", 0},
    {Routine(&Clamp), nullptr,
     "Clamp( value as Integer, low as Integer, high as Integer ) as Integer", kPublic},
};

ZYNEconstant MathConstants[] = {
    {"kPi as Double = 3.14159265358979", nullptr, kPublic},
    {"kAnswer = 42", nullptr, kPrivate},
};

ZYNEproperty MathProperties[] = {
    {.group = "",
     .name = "Precision",
     .type = "integer",
     .flags = 0,
     .getter = Routine(&PrecisionGetter),
     .setter = Routine(&PrecisionSetter),
     .param = 0,
     .editor = nullptr,
     .enumCount = 0,
     .enumEntries = nullptr},
};

const char* RangeFields[] = {"low as Double", "high as Double"};
ZYNEstructure MathStructures[] = {
    {"SampleRange", kPublic, RangeFields, 2},
};

const char* RoundingValues[] = {"Down", "Nearest", "Up"};
ZYNEenum MathEnums[] = {
    {"SampleRounding", nullptr, kPublic, RoundingValues, 3},
};

ZYNEmoduleDefinition SampleMathModule = {
    .version = ZYNE_RECORD_VERSION,
    .name = "SampleMath",
    .methods = MathMethods,
    .methodCount = sizeof MathMethods / sizeof MathMethods[0],
    .constants = MathConstants,
    .constantCount = sizeof MathConstants / sizeof MathConstants[0],
    .properties = MathProperties,
    .propertyCount = sizeof MathProperties / sizeof MathProperties[0],
    .structures = MathStructures,
    .structureCount = sizeof MathStructures / sizeof MathStructures[0],
    .enums = MathEnums,
    .enumCount = sizeof MathEnums / sizeof MathEnums[0],
};

// ----- The interface SampleGreeter (WidgetBase in the Widgets sample implements it) --------

ZYNEmethodDefinition GreeterMethods[] = {
    {nullptr, nullptr, "Greet( name as String ) as String", 0},
};

ZYNEinterfaceDefinition SampleGreeterInterface = {ZYNE_RECORD_VERSION, "SampleGreeter",
                                                  GreeterMethods, 1};

// ----- A database engine ----------------------------------------------------------------------
//
// The host's database layer reads an engine definition by position: the second byte of
// word 1 (byte 5 on i386) holds the engine's options, word 7 the create-table routine,
// word 11 add-column, word 18 the supported column types, words 19 to 24 drop-table,
// drop-column, rename-table, rename-column, change-column-type and change-column-constraint.
// The other words belong to the running program's database layer, which this sample does
// not implement.

constexpr int kEngineWords = 25;
void* gEngine[kEngineWords];

ZYNEdbEngineDefinition* Engine() {
    return reinterpret_cast<ZYNEdbEngineDefinition*>(gEngine);
}

// The database this sample "connects" to: just a name, for the routines below to report.
struct SampleDatabase {
    char name[64];
    char lastChange[128];
};
SampleDatabase gDatabase = {"sample", ""};

void Note(SampleDatabase* db, const char* what, ZYNEstring name) {
    if (db == nullptr) return;
    std::snprintf(db->lastChange, sizeof db->lastChange, "%s %s", what,
                  ZYNEGetStringContents(name, nullptr));
}

// A column as the host hands it over: a list of five words.
struct Column {
    Column* next;
    ZYNEstring name;
    long type;
    long flag;  // allow-null for create-table, mandatory for add-column
    ZYNEstring typeName;
};

void CreateTable(SampleDatabase* db, ZYNEstring table, Column*, unsigned char*, long) {
    Note(db, "create table", table);
}
void AddColumn(SampleDatabase* db, ZYNEstring table, Column* column) {
    Note(db, "add column", column != nullptr ? column->name : table);
}
void DropTable(SampleDatabase* db, ZYNEstring table) {
    Note(db, "drop table", table);
}
void DropColumn(SampleDatabase* db, ZYNEstring, ZYNEstring column) {
    Note(db, "drop column", column);
}
void RenameTable(SampleDatabase* db, ZYNEstring, ZYNEstring newName) {
    Note(db, "rename table to", newName);
}
void RenameColumn(SampleDatabase* db, ZYNEstring, ZYNEstring, ZYNEstring newName) {
    Note(db, "rename column to", newName);
}
void ChangeColumnType(SampleDatabase* db, ZYNEstring, ZYNEstring column, ZYNEstring, ZYNEstring) {
    Note(db, "change type of", column);
}
void ChangeColumnConstraint(SampleDatabase* db, ZYNEstring, ZYNEstring column, ZYNEstring,
                            ZYNEstring, ZYNEstring) {
    Note(db, "change constraint of", column);
}

// The column types the engine offers: numbers and their names, in the same order.
long gTypeNumbers[] = {3, 5, 7};
void SupportedTypes(long** numbers, const char** names, long* count) {
    *numbers = gTypeNumbers;
    *names = "Integer,Text,Double";
    *count = 3;
}

constexpr unsigned char kEngineOptions = 0x05;

void FillEngine() {
    // The option byte is the second byte of word 1 (byte 5 on i386).
    reinterpret_cast<unsigned char*>(&gEngine[1])[1] = kEngineOptions;
    gEngine[7] = Routine(&CreateTable);
    gEngine[11] = Routine(&AddColumn);
    gEngine[18] = Routine(&SupportedTypes);
    gEngine[19] = Routine(&DropTable);
    gEngine[20] = Routine(&DropColumn);
    gEngine[21] = Routine(&RenameTable);
    gEngine[22] = Routine(&RenameColumn);
    gEngine[23] = Routine(&ChangeColumnType);
    gEngine[24] = Routine(&ChangeColumnConstraint);
}

// ----- Data sources ---------------------------------------------------------------------------

// "Sample Database..." in the designer's data source menu: asks for a name in the connection
// dialog and adds a data source holding that name.
void NewSampleDataSource(ZYNEobject) {
    const unsigned long dialog = ZYNEDBConnectionDialogCreate();
    if (dialog == 0) return;
    ZYNEstring label = NewString("Database name:");
    ZYNEstring preset = NewString("sample");
    ZYNEDBConnectionDialogAddField(dialog, label, preset, 0);
    ZYNEstring title = NewString("Connect to a Sample Database");
    ZYNEstring answer = ZYNEDBConnectionDialogShow(dialog, title);
    if (answer != nullptr) {
        unsigned long length = 0;
        const char* name = ZYNEGetStringContents(answer, &length);
        char bytes[64] = {};
        std::memcpy(bytes, name, length < sizeof bytes ? length : sizeof bytes - 1);
        ZYNEDesignAddDataSource("Sample Database", "SampleDatabase", bytes,
                                static_cast<int>(sizeof bytes));
        ZYNEUnlockString(answer);
    }
    ZYNEUnlockString(title);
    ZYNEUnlockString(preset);
    ZYNEUnlockString(label);
    ZYNEDBConnectionDialogDelete(dialog);
}

// Turns the bytes saved by NewSampleDataSource back into a database object.
ZYNEobject ConnectSampleDataSource(const char* data, long length) {
    if (data == nullptr || length <= 0) return nullptr;
    std::snprintf(gDatabase.name, sizeof gDatabase.name, "%.*s", static_cast<int>(length), data);
    return ZYNEdbDatabaseFromDBDatabase(reinterpret_cast<dbDatabase*>(&gDatabase), Engine());
}

// A connection the host offers in its "new database" list: the engine and a display name.
struct ConnectionRecord {
    const char* name;
    ZYNEdbEngineDefinition* engine;
    void* connect;  // ConnectSampleDataSource
};
ConnectionRecord gConnection = {"Sample Database", nullptr, nullptr};

}  // namespace

void PluginEntry() {
    ZYNERegisterMethod(&SampleAddMethod);
    ZYNERegisterMethod(&SampleShoutMethod);
    ZYNERegisterStructure(&SamplePoint);
    ZYNERegisterEnum(&SampleDirection);
    ZYNERegisterModule(&SampleMathModule);
    ZYNERegisterInterface(&SampleGreeterInterface);

    FillEngine();
    ZYNERegisterDBEngine(Engine());
    ZYNERegisterDataSourceInterface("Sample Database", Routine(&NewSampleDataSource));
    ZYNERegisterDataSource("SampleDatabase", Routine(&ConnectSampleDataSource));
    gConnection.engine = Engine();
    gConnection.connect = Routine(&ConnectSampleDataSource);
    ZYNERegisterDatabaseConnection(
        reinterpret_cast<ZYNEDatabaseConnectionDefinition*>(&gConnection));
}
