// BridgeTest.cpp - PluginBridge, PluginDefinition, the global methods and the registration
// list, exercised through the reference host and the real bridge library.
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "../support/TempHome.h"
#include "BridgeProbe.h"
#include "ReferenceHost.h"

namespace {

using zyne::host::ReferenceHost;

// ----- Probe ------------------------------------------------------------------------------

struct Probe {
    void* (*newDefinition)(unsigned);
    void (*appendItems)(void*, int, long, void*);
    void (*setLibraryFile)(void*, const char*, int, bool);
    void (*setContainerFile)(void*, const char*, unsigned);
    unsigned (*refCount)(const void*);
    void (*adoptDefinition)(void*, void*);
    void (*sweep)(const char*);
};

// Loaded once and never unloaded: the bridge destroys items whose code lives in it.
const Probe& TheProbe() {
    static const Probe probe = [] {
        void* handle = dlopen(ZYNE_BRIDGE_PROBE_PATH, RTLD_NOW | RTLD_LOCAL);
        if (handle == nullptr) {
            ADD_FAILURE() << dlerror();
            std::abort();
        }
        auto get = [&](const char* name) { return dlsym(handle, name); };
        return Probe{
            reinterpret_cast<void* (*)(unsigned)>(get("ProbeNewDefinition")),
            reinterpret_cast<void (*)(void*, int, long, void*)>(get("ProbeAppendItems")),
            reinterpret_cast<void (*)(void*, const char*, int, bool)>(get("ProbeSetLibraryFile")),
            reinterpret_cast<void (*)(void*, const char*, unsigned)>(get("ProbeSetContainerFile")),
            reinterpret_cast<unsigned (*)(const void*)>(get("ProbeRefCount")),
            reinterpret_cast<void (*)(void*, void*)>(get("ProbeAdoptDefinition")),
            reinterpret_cast<void (*)(const char*)>(get("ProbeSweep")),
        };
    }();
    return probe;
}

// ----- Disk helpers -----------------------------------------------------------------------

bool Exists(const std::string& path) {
    struct stat info;
    return lstat(path.c_str(), &info) == 0;
}

void WriteFile(const std::string& path, const std::string& bytes) {
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    ASSERT_GE(fd, 0) << path;
    ASSERT_EQ(write(fd, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    close(fd);
}

// Another process holding an exclusive flock on a file until Release() (or destruction).
class ForeignLock {
public:
    explicit ForeignLock(const std::string& path) {
        int ready[2];
        if (pipe(ready) != 0 || pipe(release_) != 0) return;
        pid_ = fork();
        if (pid_ == 0) {
            close(release_[1]);  // else the read below never sees the parent's close
            const int fd = open(path.c_str(), O_RDWR);
            const char ok = fd >= 0 && flock(fd, LOCK_EX | LOCK_NB) == 0 ? 'y' : 'n';
            (void)!write(ready[1], &ok, 1);
            char byte;
            (void)!read(release_[0], &byte, 1);  // returns when the parent closes its end
            _exit(0);
        }
        close(ready[1]);
        close(release_[0]);
        char ok = 'n';
        locked_ = read(ready[0], &ok, 1) == 1 && ok == 'y';
        close(ready[0]);
    }
    ~ForeignLock() { Release(); }
    bool Locked() const { return locked_; }
    void Release() {
        if (pid_ <= 0) return;
        close(release_[1]);
        waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }

private:
    int release_[2] = {-1};
    pid_t pid_ = -1;
    bool locked_ = false;
};

// ----- Fixture ----------------------------------------------------------------------------

class BridgeTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(host_.Load()) << host_.Error(); }
    void TearDown() override { EXPECT_TRUE(host_.Faults().empty()) << host_.Faults().front(); }

    ZYNEobject NewBridge() {
        ZYNEobject bridge = host_.NewInstance("PluginBridge");
        EXPECT_NE(bridge, nullptr);
        return bridge;
    }
    // The PluginBridge object in a host PluginBridge's instance data.
    void* BridgeObject(ZYNEobject bridge) {
        const ZYNEclassDefinition* record = host_.ClassOf(bridge);
        return *reinterpret_cast<void**>(reinterpret_cast<char*>(bridge) + record->dataOffset);
    }
    // A host PluginDefinition object showing `record` (whose one reference it takes over).
    ZYNEobject DefinitionObject(void* record) {
        ZYNEobject object = host_.NewInstance("PluginDefinition");
        EXPECT_NE(object, nullptr);
        const ZYNEclassDefinition* cls = host_.ClassOf(object);
        *reinterpret_cast<void**>(reinterpret_cast<char*>(object) + cls->dataOffset) = record;
        return object;
    }
    std::string TextOf(ZYNEstring string) {
        std::string text = ReferenceHost::Text(string);
        host_.Unlock(string);
        return text;
    }

    // A temporary data folder to sweep, inside the private home.
    std::string DataFolder() {
        const std::string data = home_ / "sweep";
        EXPECT_EQ(mkdir(data.c_str(), 0777), 0) << data;
        return data;
    }

    testsupport::PrivateHome home_;  // outlives the host, whose bridge sweeps its folder
    ReferenceHost host_;
};

// ----- Registration -----------------------------------------------------------------------

TEST_F(BridgeTest, RegistersItsClassesAndGlobalMethodsInOrder) {
    std::vector<std::string> expected;
    for (const char* name : {"Method", "Module", "Property", "ClassInstance", "Class", "Interface",
                             "ControlInstance", "Control", "Bridge", "Definition", "Constant",
                             "DataSourceInterface", "DataSource", "DatabaseEngine"})
        expected.push_back(std::string("class Plugin") + name);
    expected.insert(
        expected.end(),
        {"interface PluginDBDialogDelegate", "module PluginDatabaseDelegate",
         "method PluginBridgeSetProjFolder( file as FolderItem )",
         "method PluginBridgeSetDefaultFontAndSize( fontName as String, size as Integer )",
         "class PluginStructure", "class PluginEnum"});
    EXPECT_EQ(host_.RegistrationOrder(), expected);
    EXPECT_EQ(host_.PluginVersion(), 9);
}

struct PropertyRow {
    const char* name;
    const char* type;
};

void ExpectProperties(const ZYNEclassDefinition* record, const std::vector<PropertyRow>& rows) {
    ASSERT_NE(record, nullptr);
    ASSERT_EQ(record->propertyCount, static_cast<long>(rows.size()));
    for (size_t i = 0; i < rows.size(); ++i) {
        const ZYNEproperty& p = record->properties[i];
        SCOPED_TRACE(rows[i].name);
        EXPECT_STREQ(p.name, rows[i].name);
        EXPECT_STREQ(p.type, rows[i].type);
        EXPECT_STREQ(p.group, "");
        EXPECT_EQ(p.flags, 0UL);
        EXPECT_NE(p.getter, nullptr);
        EXPECT_NE(p.getter, ZYNE_DIRECT_FIELD);
        EXPECT_EQ(p.setter, nullptr) << "every property is read-only";
    }
}

void ExpectMethods(const ZYNEclassDefinition* record, const std::vector<std::string>& rows) {
    ASSERT_EQ(record->methodCount, static_cast<long>(rows.size()));
    for (size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(record->methods[i].declaration, rows[i]);
        EXPECT_NE(record->methods[i].function, nullptr) << rows[i];
        EXPECT_EQ(record->methods[i].setter, nullptr) << rows[i];
    }
}

TEST_F(BridgeTest, PluginBridgeClassRecord) {
    const zyne::host::ClassInfo* info = host_.FindClass("PluginBridge");
    ASSERT_NE(info, nullptr);
    const ZYNEclassDefinition* record = info->record;
    EXPECT_EQ(record->version, 9);
    EXPECT_EQ(record->superName, nullptr);
    EXPECT_EQ(record->dataSize, static_cast<long>(sizeof(void*)));
    EXPECT_NE(record->constructor, nullptr);
    EXPECT_NE(record->destructor, nullptr);
    EXPECT_EQ(record->constantCount, 0);
    EXPECT_EQ(record->eventCount, 0);
    ExpectProperties(record, {{"Count", "Integer"},
                              {"HasHelp", "Boolean"},
                              {"PluginName", "String"},
                              {"DependencyCount", "Integer"}});
    ExpectMethods(record, {"GetPluginDefinition( index as integer ) as PluginDefinition",
                           "LoadPlugin( location as FolderItem ) as Boolean",
                           "GetDependency( index as Integer ) as String"});
    EXPECT_EQ(host_.Symbol<const ZYNEclassDefinition*>("PluginBridgeClassDefinition"), record)
        << "the class record is exported under its name";
}

TEST_F(BridgeTest, PluginDefinitionClassRecord) {
    const zyne::host::ClassInfo* info = host_.FindClass("PluginDefinition");
    ASSERT_NE(info, nullptr);
    const ZYNEclassDefinition* record = info->record;
    EXPECT_EQ(record->version, 9);
    EXPECT_EQ(record->dataSize, static_cast<long>(sizeof(void*)));
    // Which selector each passes is checked by reading the properties below.
    ExpectProperties(record, {{"ClassCount", "Integer"}, {"ControlCount", "Integer"},
                              {"InterfaceCount", "Integer"}, {"MethodCount", "Integer"},
                              {"StructureCount", "Integer"}, {"EnumCount", "Integer"},
                              {"ModuleCount", "Integer"}, {"ClassExtensionCount", "Integer"},
                              {"DatabaseConnectionCount", "Integer"},
                              {"DatabaseEngineCount", "Integer"},
                              {"DataSourceInterfaceCount", "Integer"},
                              {"DataSourceCount", "Integer"}, {"IsTargetWin32", "Boolean"},
                              {"IsTargetClassic", "Boolean"}, {"IsTargetCarbon", "Boolean"},
                              {"IsTargetCocoa", "Boolean"}, {"IsTargetLinux", "Boolean"},
                              {"IsTargetMachO", "Boolean"},
                              {"IsTargetMachOUniversal", "Boolean"}, {"ID", "String"}});
    ExpectMethods(record, {"GetClass( index as integer ) as PluginClass",
                           "GetControl( index as integer ) as PluginControl",
                           "GetInterface( index as integer ) as PluginInterface",
                           "GetMethod( index as integer ) as PluginMethod",
                           "GetStructure( index as integer ) as PluginStructure",
                           "GetEnum( index as integer ) as PluginEnum",
                           "GetModule( index as integer ) as PluginModule",
                           "GetClassExtension( index As Integer ) As PluginClass",
                           "GetDataSourceInterface( index As Integer) as PluginDataSourceInterface",
                           "GetDataSource( index As Integer) as PluginDataSource",
                           "GetLibrary( whichTarget as integer ) as string",
                           "GetLibraryName( whichTarget as integer ) as string",
                           "GetDatabaseConnection( index As Integer ) as Ptr"});
    const std::vector<std::string> constants = {
        "kMacClassic = 0", "kWindows = 1",  "kMacCarbon = 2",      "kMachO = 3",
        "kLinuxX86 = 4",   "kMacCocoa = 5", "kMachOUniversal = 6",
    };
    ASSERT_EQ(record->constantCount, static_cast<long>(constants.size()));
    for (size_t i = 0; i < constants.size(); ++i)
        EXPECT_EQ(record->constants[i].declaration, constants[i]);
    EXPECT_EQ(host_.Symbol<const ZYNEclassDefinition*>("PluginDefinitionClassDefinition"), record);
}

// ----- PluginBridge -----------------------------------------------------------------------

TEST_F(BridgeTest, EmptyObjectsAnswerZeroAndNil) {
    ZYNEobject bridge = NewBridge();
    EXPECT_EQ(host_.Get<long>(bridge, "DependencyCount"), 0);
    EXPECT_FALSE(host_.Get<bool>(bridge, "HasHelp"));
    EXPECT_EQ(host_.Get<ZYNEstring>(bridge, "PluginName"), nullptr);
    ZYNEobject definition = host_.NewInstance("PluginDefinition");
    EXPECT_EQ(host_.Get<long>(definition, "ClassCount"), 0);
    EXPECT_FALSE(host_.Get<bool>(definition, "IsTargetLinux"));
    EXPECT_EQ(host_.Get<ZYNEstring>(definition, "ID"), nullptr);
    EXPECT_EQ(host_.Call<ZYNEstring>(definition, "GetLibrary", 4L), nullptr);
    host_.Unlock(definition);

    void* record = TheProbe().newDefinition(0);
    TheProbe().adoptDefinition(BridgeObject(bridge), record);
    ASSERT_EQ(host_.Get<long>(bridge, "Count"), 1);
    for (long index : {1L, -1L, 1000L})
        EXPECT_EQ(host_.Call<ZYNEobject>(bridge, "GetPluginDefinition", index), nullptr) << index;
    EXPECT_EQ(TheProbe().refCount(record), 1U) << "no reference taken for a nil answer";
    host_.Unlock(bridge);
    EXPECT_EQ(host_.LiveObjects(), 0U);
}

TEST_F(BridgeTest, DefinitionObjectsShareOneRecordFreedOnce) {
    const std::string library = home_ / "libshared.so";
    WriteFile(library, "bytes");
    ZYNEobject bridge = NewBridge();
    void* record = TheProbe().newDefinition(0);
    // The record removes its library file when destroyed: that shows when it dies.
    TheProbe().setLibraryFile(record, library.c_str(), 0, true);
    TheProbe().adoptDefinition(BridgeObject(bridge), record);

    ZYNEobject first = host_.Call<ZYNEobject>(bridge, "GetPluginDefinition", 0L);
    ZYNEobject second = host_.Call<ZYNEobject>(bridge, "GetPluginDefinition", 0L);
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_NE(first, second);
    EXPECT_EQ(TheProbe().refCount(record), 3U);
    EXPECT_EQ(TextOf(host_.Get<ZYNEstring>(first, "ID")), "plugin:libshared.so:0");

    host_.Unlock(first);
    host_.Unlock(bridge);
    EXPECT_EQ(TheProbe().refCount(record), 1U);
    EXPECT_TRUE(Exists(library)) << "the last holder keeps the record alive";
    host_.Unlock(second);
    EXPECT_FALSE(Exists(library));
    EXPECT_EQ(host_.LiveObjects(), 0U);
}

TEST_F(BridgeTest, GetDependencyGrowsTheListAndReadsNil) {
    ZYNEobject bridge = NewBridge();
    EXPECT_EQ(host_.Call<ZYNEstring>(bridge, "GetDependency", 5L), nullptr);
    EXPECT_EQ(host_.Get<long>(bridge, "DependencyCount"), 6);
    for (long index : {0L, 4L, 5L}) {
        EXPECT_EQ(host_.Call<ZYNEstring>(bridge, "GetDependency", index), nullptr) << index;
    }
    EXPECT_EQ(host_.Get<long>(bridge, "DependencyCount"), 6) << "reading inside does not grow";
    EXPECT_EQ(host_.Call<ZYNEstring>(bridge, "GetDependency", -1L), nullptr);
    EXPECT_EQ(host_.Get<long>(bridge, "DependencyCount"), 6);
    host_.Unlock(bridge);
}

// ----- PluginDefinition -------------------------------------------------------------------

TEST_F(BridgeTest, FlagGettersReadTheirOwnFlag) {
    // Record flag bits in field order: Carbon, Classic, Linux, Mach-O, Universal, Win32, Cocoa.
    const struct {
        const char* property;
        unsigned flagBit;
    } rows[] = {
        {"IsTargetCarbon", 0}, {"IsTargetClassic", 1},        {"IsTargetLinux", 2},
        {"IsTargetMachO", 3},  {"IsTargetMachOUniversal", 4}, {"IsTargetWin32", 5},
        {"IsTargetCocoa", 6},
    };
    for (const auto& set : rows) {
        ZYNEobject definition = DefinitionObject(TheProbe().newDefinition(1U << set.flagBit));
        for (const auto& read : rows) {
            EXPECT_EQ(host_.Get<bool>(definition, read.property), &read == &set)
                << "flag " << set.property << " set, reading " << read.property;
        }
        host_.Unlock(definition);
    }
}

TEST_F(BridgeTest, CountGettersReadTheirOwnVector) {
    // Vectors in record order, with the property that counts each.
    const char* counts[] = {"ClassCount",          "ControlCount",
                            "InterfaceCount",      "MethodCount",
                            "StructureCount",      "EnumCount",
                            "ModuleCount",         "ClassExtensionCount",
                            "DatabaseEngineCount", "DataSourceInterfaceCount",
                            "DataSourceCount",     "DatabaseConnectionCount"};
    void* record = TheProbe().newDefinition(0);
    int dummy = 0;
    for (int which = 0; which < 12; ++which)
        TheProbe().appendItems(record, which, which + 1, &dummy);
    ZYNEobject definition = DefinitionObject(record);
    for (int which = 0; which < 12; ++which)
        EXPECT_EQ(host_.Get<long>(definition, counts[which]), which + 1) << counts[which];
    host_.Unlock(definition);
}

TEST_F(BridgeTest, ItemGettersAnswerNilPastTheCountAndConnectionsAreRawPointers) {
    void* record = TheProbe().newDefinition(0);
    ZYNEclassDefinition item{};
    item.name = "Item";
    int connection = 0;
    TheProbe().appendItems(record, 0, 1, &item);
    TheProbe().appendItems(record, 11, 1, &connection);
    ZYNEobject definition = DefinitionObject(record);
    ZYNEobject found = host_.Call<ZYNEobject>(definition, "GetClass", 0L);
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(host_.ClassOf(found), host_.FindClass("PluginClass")->record);
    host_.Unlock(found);
    EXPECT_EQ(host_.Call<void*>(definition, "GetDatabaseConnection", 0L), &connection);
    EXPECT_EQ(host_.LiveObjects(), 1U) << "no object is made for a connection";
    for (const char* getter : {"GetClass", "GetControl", "GetInterface", "GetMethod",
                               "GetStructure", "GetEnum", "GetModule", "GetClassExtension",
                               "GetDatabaseConnection"}) {
        EXPECT_EQ(host_.Call<void*>(definition, getter, 1L), nullptr) << getter;
        EXPECT_EQ(host_.Call<void*>(definition, getter, -1L), nullptr) << getter;
    }
    host_.Unlock(definition);
}

TEST_F(BridgeTest, UniqueIDForEachSource) {
    const struct {
        const char* container;  // null: none
        unsigned linuxIndex;
        const char* library;  // null: none
        const char* expected;
    } rows[] = {
        {"Tools.zqx", 1, "0libtool.so", "plugin:Tools.zqx:1"},
        {"Tools.zqx", 0, nullptr, "plugin:Tools.zqx:0"},
        {nullptr, 0, "libbare.so", "plugin:libbare.so:0"},
        {nullptr, 0, nullptr, "plugin:0"},
    };
    for (const auto& row : rows) {
        void* record = TheProbe().newDefinition(0);
        if (row.library != nullptr)
            TheProbe().setLibraryFile(record, (home_ / row.library).c_str(), 0, false);
        if (row.container != nullptr)
            TheProbe().setContainerFile(record, (home_ / row.container).c_str(), row.linuxIndex);
        ZYNEobject definition = DefinitionObject(record);
        EXPECT_EQ(TextOf(host_.Get<ZYNEstring>(definition, "ID")), row.expected);
        host_.Unlock(definition);
    }
}

TEST_F(BridgeTest, LibraryOfABareLibrary) {
    const std::string path = home_ / "libbare.so";
    const std::string bytes("\177ELF\0rest", 8);
    WriteFile(path, bytes);
    // Linux and Mach-O flags only: Universal is not set.
    void* record = TheProbe().newDefinition((1U << 2) | (1U << 3));
    TheProbe().setLibraryFile(record, path.c_str(), 0, false);
    ZYNEobject definition = DefinitionObject(record);

    EXPECT_EQ(TextOf(host_.Call<ZYNEstring>(definition, "GetLibrary", 4L)), bytes);
    EXPECT_EQ(TextOf(host_.Call<ZYNEstring>(definition, "GetLibraryName", 4L)), "libbare.so");
    for (long target : {0L, 1L, 2L, 5L, 7L, -1L}) {
        EXPECT_EQ(host_.Call<ZYNEstring>(definition, "GetLibrary", target), nullptr) << target;
        EXPECT_EQ(host_.Call<ZYNEstring>(definition, "GetLibraryName", target), nullptr) << target;
    }
    // Mach-O Universal: the bytes test its own flag, the name tests the Mach-O flag.
    EXPECT_EQ(host_.Call<ZYNEstring>(definition, "GetLibrary", 6L), nullptr);
    EXPECT_EQ(TextOf(host_.Call<ZYNEstring>(definition, "GetLibraryName", 6L)), "libbare.so");
    host_.Unlock(definition);
    EXPECT_TRUE(Exists(path)) << "a bare library is not removed";
}

// ----- Global methods ---------------------------------------------------------------------

TEST_F(BridgeTest, GlobalSettersHoldOnlyTheLatestValue) {
    ZYNEobject folders[] = {host_.NewFolderItem("/a"), host_.NewFolderItem("/b")};
    ZYNEstring fonts[] = {host_.NewString("Sans"), host_.NewString("Serif")};
    for (int i = 0; i < 2; ++i) {
        host_.CallGlobal<void>("PluginBridgeSetProjFolder", folders[i]);
        host_.CallGlobal<void>("PluginBridgeSetDefaultFontAndSize", fonts[i], 12L + i);
        EXPECT_EQ(host_.RefCount(folders[i]), 2);
        EXPECT_EQ(host_.RefCount(fonts[i]), 2);
        EXPECT_EQ(host_.RefCount(folders[0]), i == 0 ? 2 : 1);
        EXPECT_EQ(host_.RefCount(fonts[0]), i == 0 ? 2 : 1);
    }
    host_.CallGlobal<void>("PluginBridgeSetProjFolder", ZYNEobject{nullptr});
    EXPECT_EQ(host_.RefCount(folders[1]), 1);
    for (int i = 0; i < 2; ++i) host_.Unlock(folders[i]);
    for (int i = 0; i < 2; ++i) host_.Unlock(fonts[i]);
}

// ----- Sweep of the temporary data folder -------------------------------------------------

TEST_F(BridgeTest, SweepLeavesAFileLockedByAnotherProcessAndItsFolders) {
    const std::string data = DataFolder();
    ASSERT_EQ(mkdir((data + "/sub").c_str(), 0777), 0);
    const std::string locked = data + "/sub/0lib.so";
    WriteFile(locked, "x");
    {
        ForeignLock lock(locked);
        ASSERT_TRUE(lock.Locked());
        TheProbe().sweep(data.c_str());
        EXPECT_TRUE(Exists(locked));
        EXPECT_TRUE(Exists(data + "/sub"));
        EXPECT_TRUE(Exists(data));
    }
    // Released: the next sweep takes the file, the emptied subfolder and the folder.
    TheProbe().sweep(data.c_str());
    EXPECT_FALSE(Exists(data));
}

TEST_F(BridgeTest, SweepStopsAtALockedFileAlwaysFetchingIndexZero) {
    const std::string data = DataFolder();
    for (const char* name : {"a.so", "b.so", "c.so"}) WriteFile(data + "/" + name, "x");
    // Whichever child the folder lists first is the one locked: every later fetch of
    // index 0 meets it again, so nothing behind it is reached in this sweep.
    DIR* dir = opendir(data.c_str());
    ASSERT_NE(dir, nullptr);
    std::string first;
    while (const struct dirent* entry = readdir(dir)) {
        if (entry->d_name[0] != '.') {
            first = entry->d_name;
            break;
        }
    }
    closedir(dir);
    ASSERT_FALSE(first.empty());
    ForeignLock lock(data + "/" + first);
    ASSERT_TRUE(lock.Locked());
    TheProbe().sweep(data.c_str());
    for (const char* name : {"a.so", "b.so", "c.so"})
        EXPECT_TRUE(Exists(data + "/" + name)) << name << " is behind the locked " << first;
}

}  // namespace
