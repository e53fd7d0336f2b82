// DataFileTest.cpp - disk data files: the factories and their error numbers, open modes,
// the exclusive lock (in this process and from a forked child), 64-bit offsets, temporary
// files, handles, and the stdio read/write switching.
#include "streams/DataFile.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>

#include "TempFolder.h"
#include "streams/FilePointerDataFile.h"

namespace {

std::string ReadAll(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

void WriteAll(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

class DataFileTest : public testing::Test {
protected:
    void SetUp() override { ASSERT_FALSE(folder.Path().empty()) << "no temporary folder"; }

    std::string PathOf(const char* name) const { return folder.File(name); }

    static std::unique_ptr<DataFile> Open(const std::string& path, int mode,
                                          long* error = nullptr) {
        return std::unique_ptr<DataFile>(DataFile::OpenFromPath(string(path.c_str()), mode, error));
    }
    static std::unique_ptr<DataFile> Create(const std::string& path, long* error = nullptr) {
        return std::unique_ptr<DataFile>(DataFile::CreateFromPath(string(path.c_str()), error));
    }

    // Forks a child that tries a read-write open of `path` and reports: 0 opened, 1 refused
    // with EWOULDBLOCK, 2 refused otherwise. A child still waiting after 5 seconds is killed
    // by its alarm, which shows as -SIGALRM.
    static int ChildTriesWritableOpen(const std::string& path) {
        fflush(nullptr);
        const pid_t pid = fork();
        if (pid == 0) {
            alarm(5);
            long error = 0;
            DataFile* file =
                DataFile::OpenFromPath(string(path.c_str()), kDataFileReadWrite, &error);
            _exit(file ? 0 : error == EWOULDBLOCK ? 1 : 2);
        }
        int status = 0;
        if (pid < 0 || waitpid(pid, &status, 0) != pid) return 99;
        if (WIFSIGNALED(status)) return -WTERMSIG(status);
        return WEXITSTATUS(status);
    }

    TempFolder folder;
};

TEST_F(DataFileTest, CreateWriteAndReadBackTypedValues) {
    // Byte order is the typed helpers' (RandomAccessMechanismTest); here the disk under them.
    const std::string path = PathOf("typed");
    auto file = Create(path);
    ASSERT_TRUE(file);
    file->SetBigEndian();
    EXPECT_TRUE(file->WriteShort(0x0102));
    EXPECT_TRUE(file->WritePString(string("disk")));
    EXPECT_TRUE(file->WriteLine(string("end")));
    EXPECT_EQ(file->GetLength(), 2u + 5 + 4);
    ASSERT_TRUE(file->SeekFromStart(0));
    short s = 0;
    string text;
    EXPECT_TRUE(file->ReadShort(s));
    EXPECT_EQ(s, 0x0102);
    EXPECT_TRUE(file->ReadPString(text));
    EXPECT_EQ(std::string(text.CString(), text.Length()), "disk");
    EXPECT_FALSE(file->IsEOF());
    file->SeekFromStart(file->GetLength());
    EXPECT_TRUE(file->IsEOF());
    EXPECT_TRUE(file->Close());
    EXPECT_FALSE(file->Close()) << "nothing left to close";
    EXPECT_EQ(ReadAll(path).substr(0, 2), "\x01\x02") << "the file holds big-endian bytes";
}

TEST_F(DataFileTest, OpenModes) {
    const std::string path = PathOf("modes");
    WriteAll(path, "content");
    struct {
        int mode;
        bool opens;
        bool writable;
    } cases[] = {{1, true, false},  {3, true, true},   {0, false, false},
                 {2, false, false}, {4, false, false}, {-1, false, false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.mode);
        long error = -1;
        auto file = Open(path, c.mode, &error);
        ASSERT_EQ(file != nullptr, c.opens);
        if (!file) {
            EXPECT_EQ(error, EINVAL);
            continue;
        }
        char buf[7];
        int got = 0;
        EXPECT_TRUE(file->ReadData(buf, 7, &got));
        EXPECT_EQ(std::string(buf, 7), "content");
        file->SeekFromStart(0);
        EXPECT_EQ(file->WriteData("C", 1), c.writable);
        if (!c.writable) {
            EXPECT_EQ(file->GetLastError(), EBADF);
        }
        file->Close();
    }
    EXPECT_EQ(ReadAll(path), "Content");
    EXPECT_EQ(ReadAll(path).size(), 7u) << "opening never truncates";
}

TEST_F(DataFileTest, DirectoriesAndMissingFiles) {
    long errors[3] = {};
    EXPECT_FALSE(Open(folder.Path(), kDataFileReadOnly, &errors[0]));
    EXPECT_FALSE(Open(folder.Path(), kDataFileReadWrite, &errors[1]));
    EXPECT_FALSE(Create(folder.Path(), &errors[2]));
    for (long e : errors) EXPECT_EQ(e, 21);  // EISDIR
    long error = 0;
    EXPECT_FALSE(Open(PathOf("missing"), kDataFileReadOnly, &error));
    EXPECT_EQ(error, ENOENT);
    EXPECT_FALSE(Open(PathOf("missing"), kDataFileReadOnly, nullptr)) << "error may be null";

    FilePointerDataFile direct;
    EXPECT_FALSE(direct.Open(string(folder.Path().c_str()), kDataFileReadOnly));
    EXPECT_FALSE(direct.IsOpen());
    EXPECT_EQ(direct.GetLastError(), 21);
}

TEST_F(DataFileTest, SecondWritableOpenOrCreateFailsAtOnce) {
    const std::string path = PathOf("locked");
    long error = 0;
    auto first = Create(path, &error);
    ASSERT_TRUE(first);
    ASSERT_TRUE(first->WriteData("held", 4));
    first->FlushToDisk();

    error = 0;
    EXPECT_FALSE(Open(path, kDataFileReadWrite, &error));
    EXPECT_EQ(error, EWOULDBLOCK);
    auto reader = Open(path, kDataFileReadOnly, &error);
    EXPECT_TRUE(reader) << "read-only opens take no lock";
    reader.reset();
    error = 0;
    EXPECT_FALSE(Create(path, &error));
    EXPECT_EQ(error, EWOULDBLOCK);
    EXPECT_EQ(ReadAll(path), "") << "\"w+\" truncates before the lock is tried";

    EXPECT_TRUE(first->Close());
    auto second = Open(path, kDataFileReadWrite, &error);
    EXPECT_TRUE(second) << "the lock goes with the first file";
}

TEST_F(DataFileTest, SecondWritableOpenFromAnotherProcessFailsAtOnce) {
    const std::string path = PathOf("shared");
    WriteAll(path, "x");
    EXPECT_EQ(ChildTriesWritableOpen(path), 0) << "unlocked: the child may open it";
    auto held = Open(path, kDataFileReadWrite);
    ASSERT_TRUE(held);
    EXPECT_EQ(ChildTriesWritableOpen(path), 1) << "locked: refused with EWOULDBLOCK, no wait";
    held.reset();
    EXPECT_EQ(ChildTriesWritableOpen(path), 0) << "deleting the file released the lock";
}

TEST_F(DataFileTest, ReadsAtAndNearTheEnd) {
    const std::string path = PathOf("ends");
    WriteAll(path, "abc");
    auto file = Open(path, kDataFileReadOnly);
    ASSERT_TRUE(file);
    char buf[8];
    int got = -1;
    EXPECT_TRUE(file->ReadData(buf, 0, &got));
    EXPECT_EQ(got, 0);
    EXPECT_TRUE(file->ReadData(buf, 8, &got)) << "a short read with bytes is a success";
    EXPECT_EQ(got, 3);
    got = -1;
    EXPECT_FALSE(file->ReadData(buf, 1, &got));
    EXPECT_EQ(got, 0);
    EXPECT_EQ(file->GetLastError(), 0) << "the end is not an error";
    int l = 0;
    file->SeekFromStart(1);
    EXPECT_FALSE(file->ReadLong(l)) << "two bytes are not a long";
    EXPECT_TRUE(file->IsEOF());
}

TEST_F(DataFileTest, ReadsAndWritesMixWithoutSeeks) {
    const std::string path = PathOf("mixed");
    WriteAll(path, "0123456789");
    auto file = Open(path, kDataFileReadWrite);
    ASSERT_TRUE(file);
    char buf[4];
    int got = 0;
    ASSERT_TRUE(file->ReadData(buf, 2, &got));  // position 2
    ASSERT_TRUE(file->WriteData("ab", 2));      // overwrites 2-3
    ASSERT_TRUE(file->ReadData(buf, 2, &got));  // reads 4-5
    EXPECT_EQ(std::string(buf, 2), "45");
    EXPECT_EQ(file->GetPosition(), 6u);
    ASSERT_TRUE(file->WriteData("XYZW", 4));
    EXPECT_EQ(file->GetLength(), 10u) << "the length counts buffered writes";
    ASSERT_TRUE(file->Close());
    EXPECT_EQ(ReadAll(path), "01ab45XYZW");
}

TEST_F(DataFileTest, SetLengthWithPendingWrites) {
    const std::string path = PathOf("resize");
    auto file = Create(path);
    ASSERT_TRUE(file);
    ASSERT_TRUE(file->WriteData("abcdefgh", 8));  // still in stdio's buffer
    EXPECT_TRUE(file->SetLength(3));
    EXPECT_EQ(file->GetLength(), 3u);
    EXPECT_EQ(file->GetPosition(), 8u) << "the position does not move";
    EXPECT_TRUE(file->SetLength(5));
    ASSERT_TRUE(file->Close());
    EXPECT_EQ(ReadAll(path), std::string("abc\0\0", 5));
}

TEST_F(DataFileTest, OffsetsPastFourGigabytes) {
    const std::string path = PathOf("sparse");
    auto file = Create(path);
    ASSERT_TRUE(file);
    const unsigned long long far = (5ull << 30) + 7;
    ASSERT_TRUE(file->SeekFromStart(far));
    EXPECT_EQ(file->GetPosition(), far);
    if (!file->WriteByte(0x42)) GTEST_SKIP() << "no sparse files here: " << file->GetLastError();
    EXPECT_EQ(file->GetLength(), far + 1);
    ASSERT_TRUE(file->SeekFromStart(far));
    unsigned char b = 0;
    EXPECT_TRUE(file->ReadByte(b));
    EXPECT_EQ(b, 0x42);
    EXPECT_TRUE(file->SetLength(far - 1));
    EXPECT_EQ(file->GetLength(), far - 1);
}

TEST_F(DataFileTest, NamedTemporaryFileGoesUnderTmpAndTruncates) {
    TempFolder underTmp("/tmp");  // private, so the name never lands in /tmp itself
    ASSERT_FALSE(underTmp.Path().empty());
    const std::string leaf = underTmp.Path().substr(5) + "/x";  // past "/tmp/"
    WriteAll(underTmp.File("x"), "old contents");

    FilePointerDataFile file;
    ASSERT_TRUE(file.CreateTempFile(string(leaf.c_str())));
    EXPECT_EQ(file.GetLength(), 0u) << "an existing file is truncated";
    EXPECT_TRUE(file.WriteData("new", 3));
    EXPECT_EQ(ChildTriesWritableOpen(underTmp.File("x")), 1) << "and locked";
    EXPECT_TRUE(file.Close());
    EXPECT_EQ(ReadAll(underTmp.File("x")), "new");

    FilePointerDataFile missing;
    EXPECT_FALSE(missing.CreateTempFile(string((leaf + "/no/such").c_str())));
    EXPECT_NE(missing.GetLastError(), 0);
}

TEST_F(DataFileTest, AnonymousTemporaryFileHasNoName) {
    long error = -1;
    std::unique_ptr<DataFile> file(DataFile::CreateTemporaryFile(&error));
    ASSERT_TRUE(file);
    struct stat info;
    ASSERT_EQ(fstat(static_cast<int>(file->GetFileHandle(kFileHandleDescriptor)), &info), 0);
    EXPECT_EQ(info.st_nlink, 0u) << "unlinked: it disappears when closed";
    EXPECT_TRUE(file->WriteLong(77));
    file->SeekFromStart(0);
    int l = 0;
    EXPECT_TRUE(file->ReadLong(l));
    EXPECT_EQ(l, 77);
}

TEST_F(DataFileTest, HandlesOfEachKind) {
    const std::string path = PathOf("handles");
    WriteAll(path, "data");
    long error = 0;

    FILE* fp = fopen(path.c_str(), "r");
    ASSERT_NE(fp, nullptr);
    std::unique_ptr<DataFile> adopted(
        DataFile::OpenFromHandle(reinterpret_cast<unsigned long>(fp), kFileHandleStdio, &error));
    ASSERT_TRUE(adopted);
    EXPECT_EQ(adopted->GetFileHandle(kFileHandleStdio), reinterpret_cast<unsigned long>(fp));
    EXPECT_EQ(adopted->GetLength(), 4u);
    adopted.reset();  // closes fp

    struct {
        int flags;
        bool canRead;
        bool canWrite;
    } cases[] = {{O_RDONLY, true, false}, {O_WRONLY, false, true}, {O_RDWR, true, true}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.flags);
        const int fd = open(path.c_str(), c.flags);
        ASSERT_GE(fd, 0);
        std::unique_ptr<DataFile> file(DataFile::OpenFromHandle(static_cast<unsigned long>(fd),
                                                                kFileHandleDescriptor, &error));
        ASSERT_TRUE(file);
        EXPECT_EQ(file->GetFileHandle(kFileHandleDescriptor), static_cast<unsigned long>(fd));
        char buf[4];
        int got = 0;
        EXPECT_EQ(file->ReadData(buf, 4, &got), c.canRead);
        file->SeekFromStart(0);
        EXPECT_EQ(file->WriteData("DATA", 4), c.canWrite);
        file.reset();
        EXPECT_EQ(fcntl(fd, F_GETFD), -1) << "the descriptor was closed with the file";
    }
    EXPECT_EQ(ReadAll(path), "DATA");

    error = 0;
    EXPECT_FALSE(DataFile::OpenFromHandle(0, 1, &error));
    EXPECT_EQ(error, EINVAL);
    error = 0;
    EXPECT_FALSE(DataFile::OpenFromHandle(987654, kFileHandleDescriptor, &error));
    EXPECT_EQ(error, EBADF);
    error = 0;
    EXPECT_FALSE(DataFile::OpenFromHandle(0, kFileHandleStdio, &error));
    EXPECT_EQ(error, EBADF);

    // A path-opened file answers both kinds, until closed, and no other kind.
    auto file = Create(PathOf("kinds"), &error);
    ASSERT_TRUE(file);
    const auto stdio = reinterpret_cast<FILE*>(file->GetFileHandle(kFileHandleStdio));
    ASSERT_NE(stdio, nullptr);
    EXPECT_EQ(file->GetFileHandle(kFileHandleDescriptor),
              static_cast<unsigned long>(fileno(stdio)));
    for (unsigned long kind : {0ul, 1ul, 4ul}) EXPECT_EQ(file->GetFileHandle(kind), kNoFileHandle);
    file->Close();
    EXPECT_EQ(file->GetFileHandle(kFileHandleDescriptor), kNoFileHandle);
    EXPECT_EQ(file->GetFileHandle(kFileHandleStdio), 0ul);
}

TEST_F(DataFileTest, TemporaryCloseClosesForGood) {
    const std::string path = PathOf("tempclose");
    auto file = Create(path);
    ASSERT_TRUE(file);
    file->WriteData("kept", 4);
    file->TemporaryClose();
    file->TemporaryReopen();
    EXPECT_EQ(ReadAll(path), "kept") << "fclose pushed the buffer out";
    EXPECT_EQ(ChildTriesWritableOpen(path), 0) << "the lock went with the file";
    char c;
    EXPECT_FALSE(file->ReadData(&c, 1, nullptr));
    EXPECT_FALSE(file->WriteData("x", 1));
    EXPECT_FALSE(file->SeekFromStart(0));
    EXPECT_EQ(file->GetLength(), ~0ull);
    EXPECT_FALSE(file->Close());
}

TEST_F(DataFileTest, CleanerClosesButDoesNotDelete) {
    const std::string path = PathOf("cleaner");
    auto file = Create(path);
    ASSERT_TRUE(file);
    {
        DataFileCleaner cleaner(file.get());
        file->WriteData("flushed", 7);
    }
    EXPECT_EQ(ReadAll(path), "flushed");
    EXPECT_EQ(ChildTriesWritableOpen(path), 0);
    EXPECT_FALSE(file->Close()) << "already closed, object still usable";
    { DataFileCleaner none(nullptr); }
}

TEST_F(DataFileTest, FailuresKeepTheErrorNumber) {
    WriteAll(PathOf("ro"), "r");
    auto file = Open(PathOf("ro"), kDataFileReadOnly);
    ASSERT_TRUE(file);
    EXPECT_FALSE(file->SetLength(0));
    EXPECT_NE(file->GetLastError(), 0);
    file->SetLastError(0);
    EXPECT_FALSE(file->SeekFromStart(~0ull)) << "past the largest offset";
    EXPECT_EQ(file->GetLastError(), EINVAL);
}

}  // namespace
