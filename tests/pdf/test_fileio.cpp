#include "pdf/pdfileio.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

class PDFileIOTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_path = ::testing::TempDir() + "pdfileio_" + std::to_string(::getpid()) + "_" +
                 ::testing::UnitTest::GetInstance()->current_test_info()->name();
    }
    void TearDown() override { ::unlink(m_path.c_str()); }

    int64_t SizeOnDisk() const {
        struct stat st {};
        return ::stat(m_path.c_str(), &st) == 0 ? static_cast<int64_t>(st.st_size) : -1;
    }

    std::string m_path;
};

TEST_F(PDFileIOTest, WritesAreBufferedUpToTheBlockSize) {
    PDFileIO f;
    ASSERT_EQ(f.OpenWrite(m_path.c_str()), 0);
    const std::string block(6000, 'b');
    // Each step: bytes written, then the expected size on disk and Tell().
    struct Step {
        int64_t n;
        int64_t onDisk;
        int64_t tell;
    } steps[] = {
        {4095, 0, 4095},    // held
        {1, 0, 4096},       // exactly fills the buffer, still held
        {1, 4096, 4097},    // would overflow: the buffer goes out first
        {4096, 8193, 8193}, // a full block goes straight through, after the buffer
        {10, 8193, 8203},   {5000, 13203, 13203},
    };
    for (const auto& s : steps) {
        SCOPED_TRACE(s.tell);
        ASSERT_TRUE(f.Write(block.data(), s.n));
        EXPECT_EQ(SizeOnDisk(), s.onDisk);
        EXPECT_EQ(f.Tell(), s.tell);
    }
    EXPECT_EQ(f.Close(), 0);
    EXPECT_EQ(SizeOnDisk(), 13203);
}

TEST_F(PDFileIOTest, ReadBackAndEndFlag) {
    PDFileIO w;
    ASSERT_EQ(w.OpenWrite(m_path.c_str()), 0);
    ASSERT_TRUE(w.Write("hello world", 11));
    ASSERT_EQ(w.Close(), 0);

    PDFileIO r;
    ASSERT_EQ(r.OpenRead(m_path.c_str()), 0);
    char buf[32] = {};
    EXPECT_EQ(r.Read(buf, 5), 5);
    EXPECT_EQ(std::string(buf, 5), "hello");
    EXPECT_EQ(r.Tell(), 5);
    EXPECT_EQ(r.GetByte(), ' ');
    EXPECT_EQ(r.Read(buf, 32), 5);
    EXPECT_FALSE(r.AtEnd());
    EXPECT_EQ(r.GetByte(), -1);
    EXPECT_TRUE(r.AtEnd());
    EXPECT_EQ(r.Seek(-5, 2), 6);
    EXPECT_FALSE(r.AtEnd()); // seeking clears the end flag
    EXPECT_EQ(r.GetByte(), 'w');
    EXPECT_EQ(r.Seek(0, 2), 11);
    EXPECT_EQ(r.Seek(0), 0);
    EXPECT_EQ(r.GetByte(), 'h');
}

TEST_F(PDFileIOTest, PositionsBeyondFourGigabytes) {
    const int64_t far = 5000000000LL;
    PDFileIO w;
    ASSERT_EQ(w.OpenWrite(m_path.c_str()), 0);
    ASSERT_TRUE(w.Write("ab", 2));
    EXPECT_EQ(w.Seek(far), far); // flushes "ab" first; the gap stays sparse
    ASSERT_TRUE(w.Write("x", 1));
    EXPECT_EQ(w.Tell(), far + 1);
    ASSERT_EQ(w.Close(), 0);
    EXPECT_EQ(SizeOnDisk(), far + 1);

    PDFileIO r;
    ASSERT_EQ(r.OpenRead(m_path.c_str()), 0);
    EXPECT_EQ(r.Seek(0, 2), far + 1);
    EXPECT_EQ(r.Seek(far), far);
    EXPECT_EQ(r.GetByte(), 'x');
    EXPECT_EQ(r.Tell(), far + 1);
    EXPECT_EQ(r.Seek(0), 0);
    EXPECT_EQ(r.GetByte(), 'a');
}

TEST_F(PDFileIOTest, OpenFailuresGiveTheSystemError) {
    PDFileIO f;
    EXPECT_EQ(f.OpenRead((m_path + ".missing").c_str()), ENOENT);
    EXPECT_FALSE(f.IsOpen());
    EXPECT_EQ(f.OpenWrite("/no/such/dir/out.pdf"), ENOENT);
    EXPECT_FALSE(f.Write("x", 1));
    char c = 0;
    EXPECT_EQ(f.Read(&c, 1), 0);
    EXPECT_EQ(f.Seek(0), -1);
}

} // namespace
