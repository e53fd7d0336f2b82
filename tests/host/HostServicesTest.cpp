// HostServicesTest.cpp - the reference host's collections, memory blocks, arrays,
// interface routines, databases and host-defined classes, called as a plug-in calls them:
// through the resolver, by service name. Each test checks that every string and object
// it made is gone again and that the host saw no misuse unless the case is about misuse.
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ReferenceHost.h"

using zyne::host::ReferenceHost;

namespace {

class HostServicesTest : public ::testing::Test {
protected:
    void TearDown() override {
        EXPECT_EQ(host_.LiveObjects(), 0u);
        EXPECT_EQ(host_.LiveStrings(), 0u);
    }
    template <class F>
    F Service(const char* name) {
        F function = host_.Service<F>(name);
        EXPECT_NE(function, nullptr) << name;
        return function;
    }
    ReferenceHost host_;
};

TEST_F(HostServicesTest, CollectionAddHoldsWhatItIsGivenUntilTheCollectionGoes) {
    using Add = void (*)(ZYNEobject, ZYNEobject, ZYNEstring);
    auto load = Service<void* (*)(ZYNEobject, const char*)>("ZYNELoadObjectMethod");
    ZYNEobject collection = host_.NewInstance("Collection");
    ASSERT_NE(collection, nullptr) << "a host class is made by name";
    auto add = reinterpret_cast<Add>(load(collection, "Add(value as variant, key as string)"));
    ASSERT_NE(add, nullptr);
    ZYNEobject variant = host_.NewVariantString("Blob");
    ZYNEstring key = host_.NewString("4");
    add(collection, variant, key);
    // Whatever the declared types say, the host keeps each side as what it is.
    add(collection, reinterpret_cast<ZYNEobject>(key), reinterpret_cast<ZYNEstring>(variant));
    EXPECT_EQ(host_.RefCount(variant), 3);
    EXPECT_EQ(host_.RefCount(key), 3);
    using Item = ReferenceHost::CollectionItem;
    EXPECT_EQ(host_.CollectionItems(collection),
              (std::vector<Item>{{"variant(\"Blob\")", "\"4\""}, {"\"4\"", "variant(\"Blob\")"}}));
    EXPECT_EQ(host_.Call<long>(collection, "Count"), 2);
    host_.Unlock(collection);
    EXPECT_EQ(host_.RefCount(variant), 1);
    EXPECT_EQ(host_.RefCount(key), 1);
    EXPECT_FALSE(host_.CollectionItems(variant).has_value());
    host_.Unlock(variant);
    host_.Unlock(key);
    EXPECT_TRUE(host_.Faults().empty());
}

TEST_F(HostServicesTest, MemoryBlocksOwnTheirBytesOrWrapTheCallers) {
    auto make = Service<ZYNEobject (*)(int)>("newMemoryBlock");
    auto wrap = Service<ZYNEobject (*)(void*)>("PtrToMemoryBlock");
    auto ptr = Service<void* (*)(ZYNEobject)>("memoryBlockGetPtr");
    auto size = Service<long (*)(ZYNEobject)>("memoryBlockGetSize");

    ZYNEobject block = make(5);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(size(block), 5);
    EXPECT_EQ(host_.MemoryBlockBytes(block), std::string(5, '\0')) << "zeroed";
    std::memcpy(ptr(block), "hello", 5);
    EXPECT_EQ(host_.MemoryBlockBytes(block), "hello");
    host_.Unlock(block);

    EXPECT_EQ(make(-1), nullptr);
    ZYNEobject empty = make(0);
    EXPECT_EQ(size(empty), 0);
    EXPECT_NE(ptr(empty), nullptr);
    host_.Unlock(empty);

    char mine[4] = "abc";
    ZYNEobject wrapped = wrap(mine);
    EXPECT_EQ(ptr(wrapped), mine);
    EXPECT_EQ(size(wrapped), 0) << "the host cannot know a foreign block's size";
    host_.Unlock(wrapped);  // must not free `mine`
    EXPECT_EQ(wrap(nullptr), nullptr);
    EXPECT_TRUE(host_.Faults().empty());

    ZYNEobject window = host_.NewWindow();
    EXPECT_EQ(ptr(window), nullptr);
    EXPECT_EQ(size(nullptr), 0);
    host_.Unlock(window);
    EXPECT_EQ(host_.Faults().size(), 1u) << "a window is not a memory block";
}

TEST_F(HostServicesTest, ArraysAnswerTheElementRoutineSuitedToTheirKind) {
    auto create = Service<void* (*)(long, long)>("RuntimeArrayCreateSingleDimBoundedArray");
    auto ubound = Service<long (*)(void*)>("RuntimeUBound");
    auto readInt = Service<long (*)(void*, int)>("RuntimeDirectReadIntArray");
    auto readString = Service<ZYNEstring (*)(void*, int)>("RuntimeDirectReadStringArray");
    using InsertProc = void* (*)(void*);
    auto insertProc = Service<InsertProc>("RuntimeArrayDirectGetInsertProc");
    auto getProc = Service<InsertProc>("RuntimeArrayDirectGetGetProc");
    auto setProc = Service<InsertProc>("RuntimeArrayDirectGetSetProc");

    void* bytes = create(ReferenceHost::kArrayUInt8, 1);
    ASSERT_NE(bytes, nullptr);
    EXPECT_EQ(ubound(bytes), 1);
    reinterpret_cast<void (*)(void*, long, unsigned char)>(insertProc(bytes))(bytes, 0, 200);
    reinterpret_cast<void (*)(void*, long, unsigned char)>(setProc(bytes))(bytes, 2, 7);
    EXPECT_EQ(ubound(bytes), 2);
    EXPECT_EQ(reinterpret_cast<unsigned char (*)(void*, long)>(getProc(bytes))(bytes, 0), 200);
    EXPECT_EQ(host_.ArrayIntegers(static_cast<ZYNEobject>(bytes)), (std::vector<long long>{200, 0, 7}));
    EXPECT_EQ(readInt(bytes, 0), 200) << "integer reads take any integer width";

    void* reals = create(ReferenceHost::kArrayDouble, 0);
    reinterpret_cast<void (*)(void*, long, double)>(setProc(reals))(reals, 0, 2.5);
    EXPECT_EQ(reinterpret_cast<double (*)(void*, long)>(getProc(reals))(reals, 0), 2.5);

    ZYNEobject texts = host_.NewStringArray({"a", "b"});
    ZYNEstring c = host_.NewString("c");
    reinterpret_cast<void (*)(void*, long, ZYNEstring)>(setProc(texts))(texts, 1, c);
    EXPECT_EQ(host_.RefCount(c), 2) << "the array holds its elements";
    EXPECT_EQ(ReferenceHost::Text(readString(texts, 1)), "c");
    EXPECT_EQ(host_.ArrayStrings(texts), (std::vector<std::string>{"a", "c"}));
    host_.Unlock(texts);
    EXPECT_EQ(host_.RefCount(c), 1);
    host_.Unlock(c);
    EXPECT_TRUE(host_.Faults().empty());

    // Misuse reads as nothing and is noted.
    EXPECT_EQ(readInt(bytes, 3), 0);
    EXPECT_EQ(readInt(reals, 0), 0);
    EXPECT_EQ(create(99, 0), nullptr);
    EXPECT_EQ(ubound(nullptr), -1);
    EXPECT_EQ(host_.Faults().size(), 3u);
    host_.Unlock(static_cast<ZYNEobject>(bytes));
    host_.Unlock(static_cast<ZYNEobject>(reals));
}

ZYNEobject MakeWindow(ZYNEobject) {
    return ReferenceHost::Current()->NewWindow();
}
void Unrelated(ZYNEobject) {}

TEST_F(HostServicesTest, InterfaceRoutinesComeFromClassesThatDeclareTheInterface) {
    ASSERT_TRUE(host_.Load()) << host_.Error();  // the bridge registers PluginDBDialogDelegate
    auto routine = Service<void* (*)(ZYNEobject, const char*, const char*)>("GetInterfaceRoutine");
    host_.DefineClass("Drawer", {{"CreateDialog() as Window", reinterpret_cast<void*>(&MakeWindow)},
                                 {"Unrelated()", reinterpret_cast<void*>(&Unrelated)}},
                      {"SomethingElse", " PluginDBDialogDelegate"});
    host_.DefineClass("Plain", {{"CreateDialog() as Window", reinterpret_cast<void*>(&MakeWindow)}});
    ZYNEobject drawer = host_.NewInstance("Drawer");
    ZYNEobject plain = host_.NewInstance("Plain");
    struct Row {
        ZYNEobject object;
        const char* interface;
        const char* name;
        void* expected;
    };
    const Row rows[] = {
        {drawer, "PluginDBDialogDelegate", "CreateDialog", reinterpret_cast<void*>(&MakeWindow)},
        {drawer, "plugindbdialogdelegate", "createdialog", reinterpret_cast<void*>(&MakeWindow)},
        {drawer, "PluginDBDialogDelegate", "Unrelated", nullptr},  // not the interface's
        {drawer, "PluginDBDialogDelegate", "ShowDialog", nullptr},  // declared, not implemented
        {drawer, "SomethingElse", "Unrelated", reinterpret_cast<void*>(&Unrelated)},
        {plain, "PluginDBDialogDelegate", "CreateDialog", nullptr},  // no such interface
        {nullptr, "PluginDBDialogDelegate", "CreateDialog", nullptr},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(routine(row.object, row.interface, row.name), row.expected)
            << row.interface << "." << row.name;
    }
    ZYNEobject window = reinterpret_cast<ZYNEobject (*)(ZYNEobject)>(
        routine(drawer, "PluginDBDialogDelegate", "CreateDialog"))(drawer);
    EXPECT_EQ(host_.ClassNameOf(window), "Window");
    host_.Unlock(window);
    host_.Unlock(drawer);
    host_.Unlock(plain);
    EXPECT_TRUE(host_.Faults().empty());
}

TEST_F(HostServicesTest, DatabasesWrapTheGuestsPointer) {
    auto fromGuest = Service<ZYNEobject (*)(void*, void*)>("ZYNEdbDatabaseFromDBDatabase");
    auto toGuest = Service<void* (*)(ZYNEobject)>("ZYNEGetDBFromZYNEdbDatabase");
    int guestDb = 0;
    int engine = 0;
    ZYNEobject database = fromGuest(&guestDb, &engine);
    ASSERT_NE(database, nullptr);
    EXPECT_EQ(host_.ClassNameOf(database), "Database");
    EXPECT_EQ(toGuest(database), &guestDb);
    EXPECT_EQ(host_.DatabaseEngine(database), &engine);
    EXPECT_EQ(fromGuest(nullptr, &engine), nullptr);
    EXPECT_EQ(toGuest(nullptr), nullptr);
    host_.Unlock(database);
    EXPECT_TRUE(host_.Faults().empty());
    ZYNEobject collection = host_.NewCollection();
    EXPECT_EQ(toGuest(collection), nullptr);
    EXPECT_EQ(host_.Faults().size(), 1u);
    host_.Unlock(collection);
}

}  // namespace
