// DatabaseSurfaceTest.cpp - the database surface end to end: a guest whose engines, data
// sources and interface write down every call they receive is loaded through LoadPlugin,
// and the host drives PluginDataSource, PluginDatabaseEngine, PluginDataSourceInterface
// and the delegate module exactly as host code would. A dialog delegate is a host class
// implementing PluginDBDialogDelegate. Every test ends with the host's strings and
// objects back where they started and no fault seen by the host.
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "../support/TempHome.h"
#include "ReferenceHost.h"

using zyne::host::ReferenceHost;

namespace {

constexpr unsigned long kUTF8 = 0x08000100;
constexpr const char* kGuestPrefix = "guest ";
constexpr const char* kDelegatePrefix = "delegate ";

// Source indexes, in the guest's registration order.
constexpr long kFull = 0;
constexpr long kBare = 1;
constexpr long kNil = 2;
constexpr long kDialog = 3;

// The host service the guest reports through.
void RecordGuestLine(const char* line) {
    ReferenceHost::Current()->Record(std::string(kGuestPrefix) + line);
}

// The bytes with each NUL written as \0, as the guest writes them.
std::string Escaped(const std::string& bytes) {
    std::string text;
    for (char c : bytes) text += c == '\0' ? std::string("\\0") : std::string(1, c);
    return text;
}

std::string Quoted(ZYNEstring string) {
    return string != nullptr ? "\"" + ReferenceHost::Text(string) + "\"" : "null";
}

// ----- A dialog delegate written as host code ---------------------------------------------------

// Notes a call the delegate `self` received; the bridge must pass the installed delegate.
void Note(ZYNEobject self, const std::string& line) {
    EXPECT_EQ(ReferenceHost::Current()->ClassNameOf(self), "TestDialogDelegate") << line;
    ReferenceHost::Current()->Record(kDelegatePrefix + line);
}

ZYNEobject DelegateCreateDialog(ZYNEobject self) {
    Note(self, "CreateDialog");
    return ReferenceHost::Current()->NewWindow();
}

void DelegateAddField(ZYNEobject self, ZYNEobject dialog, ZYNEstring label, ZYNEstring preset,
                      unsigned char masked) {
    Note(self, "AddField " + ReferenceHost::Current()->ClassNameOf(dialog) + " " +
                   Quoted(label) + " " + Quoted(preset) + " " + std::to_string(masked));
}

ZYNEstring DelegateShowDialog(ZYNEobject self, ZYNEobject dialog, ZYNEstring title) {
    Note(self,
         "ShowDialog " + ReferenceHost::Current()->ClassNameOf(dialog) + " " + Quoted(title));
    return ReferenceHost::Current()->NewString("user=me");
}

void DelegateAddDatasource(ZYNEobject self, ZYNEstring display, ZYNEstring source, ZYNEobject data) {
    char tags[48];
    std::snprintf(tags, sizeof tags, " tags=%#lx,%#lx", display->hostWord1, source->hostWord1);
    const std::optional<std::string> bytes = ReferenceHost::Current()->MemoryBlockBytes(data);
    Note(self, "AddDatasource " + Quoted(display) + " " + Quoted(source) + " bytes=" +
                   (bytes ? "\"" + Escaped(*bytes) + "\"" : std::string("none")) + tags);
}

class DatabaseSurfaceTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(host_.Load()) << host_.Error();
        host_.Provide("DatabaseGuestRecord", reinterpret_cast<void*>(&RecordGuestLine));
        host_.DefineClass("TestDialogDelegate",
                          {{"CreateDialog() as Window", reinterpret_cast<void*>(&DelegateCreateDialog)},
                           {"AddField( dialog as Window, label as String, defaultText as String, "
                            "isMasked as Boolean )",
                            reinterpret_cast<void*>(&DelegateAddField)},
                           {"ShowDialog( dialog as Window, title as String ) as String",
                            reinterpret_cast<void*>(&DelegateShowDialog)},
                           {"AddDatasource( displayName as String, sourceName as String, data as "
                            "MemoryBlock )",
                            reinterpret_cast<void*>(&DelegateAddDatasource)}},
                          {"PluginDBDialogDelegate"});
        startObjects_ = host_.LiveObjects();
        startStrings_ = host_.LiveStrings();
        bridge_ = host_.NewInstance("PluginBridge");
        ASSERT_NE(bridge_, nullptr);
        ZYNEobject item = host_.NewFolderItem(ZYNE_DATABASE_GUEST_PATH);
        const bool loaded = host_.Call<bool>(bridge_, "LoadPlugin", item);
        host_.Unlock(item);
        ASSERT_TRUE(loaded);
        definition_ = host_.Call<ZYNEobject>(bridge_, "GetPluginDefinition", 0L);
        ASSERT_NE(definition_, nullptr);
    }

    void TearDown() override {
        InstallDelegate(nullptr);
        for (ZYNEobject object : held_) host_.Unlock(object);
        for (ZYNEstring string : heldStrings_) host_.Unlock(string);
        host_.Unlock(definition_);
        host_.Unlock(bridge_);
        EXPECT_EQ(host_.LiveObjects(), startObjects_);
        EXPECT_EQ(host_.LiveStrings(), startStrings_);
        EXPECT_TRUE(host_.Faults().empty()) << host_.Faults().front();
    }

    // An object the test holds until TearDown.
    ZYNEobject Held(ZYNEobject object) {
        if (object != nullptr) held_.push_back(object);
        return object;
    }
    ZYNEstring HeldText(std::string_view text) {
        ZYNEstring string = host_.NewString(text);
        heldStrings_.push_back(string);
        return string;
    }

    ZYNEobject Source(long index) {
        return Held(host_.Call<ZYNEobject>(definition_, "GetDataSource", index));
    }
    // The source's Action with a memory block of `bytes`; the database is held.
    ZYNEobject Connect(ZYNEobject source, std::string_view bytes = "") {
        ZYNEobject block = host_.NewMemoryBlock(bytes);
        ZYNEobject database = host_.Call<ZYNEobject>(source, "Action", block);
        host_.Unlock(block);
        return Held(database);
    }
    ZYNEobject EngineOf(ZYNEobject source) {
        return Held(host_.Call<ZYNEobject>(source, "GetDatabaseEngine"));
    }
    // The engine of a freshly connected source, with the database it connected.
    std::pair<ZYNEobject, ZYNEobject> Connected(long index) {
        ZYNEobject source = Source(index);
        ZYNEobject database = Connect(source);
        return {EngineOf(source), database};
    }

    // Calls the module method that installs the dialog delegate.
    void InstallDelegate(ZYNEobject delegate) {
        for (const ZYNEmoduleDefinition* module : host_.Modules()) {
            if (std::string(module->name) != "PluginDatabaseDelegate") continue;
            for (long i = 0; i < module->methodCount; ++i) {
                if (std::string(module->methods[i].declaration).starts_with("DatabaseDialogDelgate(")) {
                    reinterpret_cast<void (*)(ZYNEobject)>(module->methods[i].function)(delegate);
                    return;
                }
            }
        }
        ADD_FAILURE() << "no module method DatabaseDialogDelgate";
    }

    // Log lines starting with `prefix` since the log was last cleared, prefix removed.
    std::vector<std::string> Lines(const std::string& prefix) const {
        std::vector<std::string> lines;
        for (const std::string& line : host_.Log()) {
            if (line.starts_with(prefix)) lines.push_back(line.substr(prefix.size()));
        }
        return lines;
    }
    std::vector<std::string> GuestLines() const { return Lines(kGuestPrefix); }
    std::vector<std::string> DelegateLines() const { return Lines(kDelegatePrefix); }

    std::string TextOf(ZYNEstring string) {
        std::string text = ReferenceHost::Text(string);
        host_.Unlock(string);
        return text;
    }

    testsupport::PrivateHome home_;  // outlives the host, whose bridge sweeps the extraction folder
    ReferenceHost host_;
    ZYNEobject bridge_ = nullptr;
    ZYNEobject definition_ = nullptr;
    std::vector<ZYNEobject> held_;
    std::vector<ZYNEstring> heldStrings_;
    size_t startObjects_ = 0;
    size_t startStrings_ = 0;
};

const char* const kCapabilities[] = {
    "HasCreateTableImplemented",     "HasDropTableImplemented",
    "HasDropColumnImplemented",      "HasAlterTableNameImplemented",
    "HasAlterColumnNameImplemented", "HasAlterColumnTypeImplemented",
    "HasAlterColumnConstraintImplemented", "HasAddColumnImplemented",
};

TEST_F(DatabaseSurfaceTest, TheGuestsRegistrationsAreCountedAndNamedInUTF8) {
    EXPECT_EQ(host_.Get<long>(definition_, "DatabaseEngineCount"), 2);
    EXPECT_EQ(host_.Get<long>(definition_, "DataSourceCount"), 4);
    EXPECT_EQ(host_.Get<long>(definition_, "DataSourceInterfaceCount"), 1);
    ZYNEobject interface = Held(host_.Call<ZYNEobject>(definition_, "GetDataSourceInterface", 0L));
    const std::pair<ZYNEobject, const char*> named[] = {
        {Source(0), "Full Source"}, {Source(1), "Bare Source"},   {Source(2), "Nil Source"},
        {Source(3), "Dialog Source"}, {interface, "Guest Interface"}};
    for (const auto& [object, expected] : named) {
        ZYNEstring name = host_.Call<ZYNEstring>(object, "Name");
        ASSERT_NE(name, nullptr) << expected;
        EXPECT_EQ(name->hostWord1, kUTF8) << expected;
        EXPECT_EQ(TextOf(name), expected);
    }
}

TEST_F(DatabaseSurfaceTest, ActionHandsTheBlockToConnectAndOnlyADatabaseSetsTheEngine) {
    ZYNEobject source = Source(kFull);
    EXPECT_EQ(EngineOf(source), nullptr) << "no engine before a connection";
    host_.ClearLog();
    ZYNEobject database = Connect(source, std::string("dsn=x\0y", 7));
    EXPECT_EQ(GuestLines(), std::vector<std::string>{"connect Full size=7 bytes=\"dsn=x\\0y\""});
    ASSERT_NE(database, nullptr);
    EXPECT_EQ(host_.ClassNameOf(database), "Database");
    EXPECT_NE(host_.DatabaseGuestPointer(database), nullptr);
    EXPECT_NE(host_.DatabaseEngine(database), nullptr);
    EXPECT_EQ(host_.RefCount(database), 1) << "the database is the caller's";
    // The guest's request reached the host's own service through the bridge.
    EXPECT_EQ(host_.Count("ZYNEdbDatabaseFromDBDatabase(ptr, ptr)"), 1u);

    // The nil source names the full engine while connecting; with no database that counts
    // for nothing, even after another source connected that engine.
    ZYNEobject nil = Source(kNil);
    host_.ClearLog();
    EXPECT_EQ(Connect(nil, "x"), nullptr);
    EXPECT_EQ(GuestLines(), std::vector<std::string>{"connect Nil size=1 bytes=\"x\""});
    EXPECT_EQ(EngineOf(nil), nullptr);
    EXPECT_NE(EngineOf(source), nullptr);
}

TEST_F(DatabaseSurfaceTest, GetDatabaseEngineListsTheSupportedTypesKeyFirst) {
    auto [engine, database] = Connected(kFull);
    ASSERT_NE(engine, nullptr);
    EXPECT_EQ(host_.ClassNameOf(engine), "PluginDatabaseEngine");
    EXPECT_EQ(host_.Call<long>(engine, "GetOptions"), 0x5A);
    ZYNEobject types = Held(host_.Call<ZYNEobject>(engine, "GetSupportTypes"));
    ASSERT_NE(types, nullptr);
    EXPECT_EQ(host_.ClassNameOf(types), "Collection");
    EXPECT_EQ(host_.RefCount(types), 2) << "the engine's lock and the caller's";
    // Kept on purpose by the bridge: Add receives the number text where the declaration
    // says value, and the name's variant where it says key. The names run out (three
    // pieces, the middle one empty) before the guest's count of four.
    using Item = ReferenceHost::CollectionItem;
    const std::vector<Item> expected = {{"\"3\"", "variant(\"Integer\")"},
                                        {"\"5\"", "variant(\"\")"},
                                        {"\"7\"", "variant(\"Text\")"}};
    EXPECT_EQ(host_.CollectionItems(types), expected);
    EXPECT_EQ(Held(host_.Call<ZYNEobject>(engine, "GetSupportTypes")), types);
}

TEST_F(DatabaseSurfaceTest, CapabilitiesFollowTheEngineAndVanishWithoutSupportedTypes) {
    auto [full, fullDb] = Connected(kFull);
    auto [bare, bareDb] = Connected(kBare);
    ASSERT_NE(full, nullptr);
    ASSERT_NE(bare, nullptr) << "an engine without supported types still gives an instance";
    EXPECT_EQ(host_.Call<long>(bare, "GetOptions"), 0x11);
    EXPECT_EQ(host_.Call<ZYNEobject>(bare, "GetSupportTypes"), nullptr);
    for (const char* capability : kCapabilities) {
        EXPECT_TRUE(host_.Call<bool>(full, capability)) << capability;
        EXPECT_FALSE(host_.Call<bool>(bare, capability)) << capability;
    }
    // The bare engine's routines exist in the guest, yet its instance reaches none.
    host_.ClearLog();
    host_.Call<void>(bare, "DropTable", bareDb, HeldText("t"));
    EXPECT_TRUE(GuestLines().empty());
}

TEST_F(DatabaseSurfaceTest, SchemaOperationsReachTheGuestWithTheirStrings) {
    auto [engine, db] = Connected(kFull);
    ASSERT_NE(engine, nullptr);
    auto s = [&](const char* text) { return HeldText(text); };
    struct Row {
        std::function<void()> call;
        std::string expected;
    };
    const Row rows[] = {
        {[&] { host_.Call<void>(engine, "DropTable", db, s("people")); }, "DropTable full \"people\""},
        {[&] { host_.Call<void>(engine, "DropColumn", db, s("people"), s("age")); },
         "DropColumn full \"people\" \"age\""},
        {[&] { host_.Call<void>(engine, "AlterTableName", db, s("old"), s("new")); },
         "RenameTable full \"old\" \"new\""},
        {[&] { host_.Call<void>(engine, "AlterColumnName", db, s("t"), s("a"), s("b")); },
         "RenameColumn full \"t\" \"a\" \"b\""},
        {[&] { host_.Call<void>(engine, "AlterColumnType", db, s("t"), s("c"), s("Integer"), s("Text")); },
         "ChangeColumnType full \"t\" \"c\" \"Integer\" \"Text\""},
        {[&] {
             host_.Call<void>(engine, "AlterColumnConstraint", db, s("t"), s("c"), s("NOT NULL"),
                              s("0"), s("1"));
         },
         "ChangeColumnConstraint full \"t\" \"c\" \"NOT NULL\" \"0\" \"1\""},
    };
    for (const Row& row : rows) {
        host_.ClearLog();
        row.call();
        EXPECT_EQ(GuestLines(), std::vector<std::string>{row.expected});
    }
}

TEST_F(DatabaseSurfaceTest, CreateTablePassesTheLastColumnAloneAndTheKeyLowBytes) {
    auto [engine, db] = Connected(kFull);
    ASSERT_NE(engine, nullptr);
    struct Row {
        std::vector<std::string> names;
        std::vector<long long> types, allowNull, keys;
        std::string expected;
    };
    const Row rows[] = {
        // Kept on purpose by the bridge: one record, for the last column.
        {{"id", "name", "age"}, {1, 2, 3}, {0, 1, 1}, {1, 258},
         "CreateTable full \"people\" columns=[\"age\":3:1:null] keys=[1,2] count=2"},
        {{"id", "name", "age"}, {1, 2, 3}, {0, 1, 0}, {},
         "CreateTable full \"people\" columns=[\"age\":3:0:null] keys=null count=0"},
        {{"only"}, {9}, {1}, {0},
         "CreateTable full \"people\" columns=[\"only\":9:1:null] keys=[0] count=1"},
        {{}, {}, {}, {}, "CreateTable full \"people\" columns=[] keys=null count=0"},
    };
    for (const Row& row : rows) {
        ZYNEobject names = Held(host_.NewStringArray(row.names));
        ZYNEobject types = Held(host_.NewIntegerArray(row.types));
        ZYNEobject allowNull = Held(host_.NewIntegerArray(row.allowNull));
        ZYNEobject keys = Held(host_.NewIntegerArray(row.keys));
        host_.ClearLog();
        host_.Call<void>(engine, "CreateTable", db, HeldText("people"), names, types, allowNull, keys);
        EXPECT_EQ(GuestLines(), std::vector<std::string>{row.expected});
    }
}

TEST_F(DatabaseSurfaceTest, AddColumnIgnoresThePrimaryKeyFlagAndPassesMandatory) {
    auto [engine, db] = Connected(kFull);
    ASSERT_NE(engine, nullptr);
    std::vector<std::string> lines;
    for (bool primary : {true, false}) {
        for (bool mandatory : {true, false}) {
            host_.ClearLog();
            host_.Call<void>(engine, "AddColumn", db, HeldText("t"), HeldText("c"), HeldText("Integer"),
                             4L, primary, mandatory);
            const std::vector<std::string> got = GuestLines();
            ASSERT_EQ(got.size(), 1u);
            lines.push_back(got.front());
        }
    }
    const std::string on = "AddColumn full \"t\" \"c\":4:1:\"Integer\" next=null";
    const std::string off = "AddColumn full \"t\" \"c\":4:0:\"Integer\" next=null";
    EXPECT_EQ(lines, (std::vector<std::string>{on, off, on, off}));
}

TEST_F(DatabaseSurfaceTest, SchemaOperationsDoNothingWithoutAGuestDatabase) {
    auto [engine, db] = Connected(kFull);
    ASSERT_NE(engine, nullptr);
    ZYNEobject empty = Held(host_.NewDatabase(nullptr));
    ZYNEobject columns = Held(host_.NewStringArray({"a"}));
    ZYNEobject numbers = Held(host_.NewIntegerArray({1}));
    for (ZYNEobject database : {ZYNEobject{nullptr}, empty}) {
        host_.ClearLog();
        ZYNEstring t = HeldText("t");
        host_.Call<void>(engine, "CreateTable", database, t, columns, numbers, numbers, numbers);
        host_.Call<void>(engine, "AddColumn", database, t, t, t, 1L, false, true);
        host_.Call<void>(engine, "DropTable", database, t);
        host_.Call<void>(engine, "DropColumn", database, t, t);
        host_.Call<void>(engine, "AlterTableName", database, t, t);
        host_.Call<void>(engine, "AlterColumnName", database, t, t, t);
        host_.Call<void>(engine, "AlterColumnType", database, t, t, t, t);
        host_.Call<void>(engine, "AlterColumnConstraint", database, t, t, t, t, t);
        EXPECT_TRUE(GuestLines().empty()) << (database == nullptr ? "nil" : "no guest pointer");
    }
}

TEST_F(DatabaseSurfaceTest, DialogServicesAndDesignAddDataSourceReachTheInstalledDelegate) {
    ZYNEobject source = Source(kDialog);
    host_.ClearLog();
    EXPECT_EQ(Connect(source, "abc"), nullptr);
    EXPECT_EQ(GuestLines(), (std::vector<std::string>{"connect Dialog size=3 bytes=\"abc\"",
                                                      "dialog 0", "answer null"}));
    EXPECT_EQ(host_.Count("newMemoryBlock(3)"), 0u) << "no block is made for nobody";

    ZYNEobject delegate = Held(host_.NewInstance("TestDialogDelegate"));
    ASSERT_NE(delegate, nullptr);
    InstallDelegate(delegate);
    EXPECT_EQ(host_.RefCount(delegate), 2);
    host_.ClearLog();
    InstallDelegate(delegate);  // the same again: locked once more, unlocked once
    EXPECT_EQ(Lines("ZYNE"), (std::vector<std::string>{"UnlockObject(ptr)", "LockObject(ptr)"}));
    host_.ClearLog();
    EXPECT_EQ(Connect(source, std::string("k=\0v", 4)), nullptr);
    EXPECT_EQ(GuestLines(), (std::vector<std::string>{"connect Dialog size=4 bytes=\"k=\\0v\"",
                                                      "dialog made", "answer \"user=me\""}));
    EXPECT_EQ(DelegateLines(),
              (std::vector<std::string>{
                  "CreateDialog",
                  "AddField Window \"Host\" \"localhost\" 1",
                  "ShowDialog Window \"Connect\"",
                  "AddDatasource \"Display\" \"source-name\" bytes=\"k=\\0v\" tags=0x8000100,0x8000100",
              }));
    EXPECT_EQ(host_.RefCount(delegate), 2) << "still installed";
    InstallDelegate(nullptr);
    EXPECT_EQ(host_.RefCount(delegate), 1);
}

TEST_F(DatabaseSurfaceTest, InterfaceActionCallsTheGuestWithTheInstance) {
    ZYNEobject interface = Held(host_.Call<ZYNEobject>(definition_, "GetDataSourceInterface", 0L));
    ASSERT_NE(interface, nullptr);
    host_.ClearLog();
    host_.Call<void>(interface, "Action");
    char expected[48];
    std::snprintf(expected, sizeof expected, "interface action %p", static_cast<void*>(interface));
    EXPECT_EQ(GuestLines(), std::vector<std::string>{expected});
}

}  // namespace
