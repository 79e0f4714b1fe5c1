#include "pdf/pdfileio.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <sys/stat.h>
#include <tuple>
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
    constexpr int64_t B = PDFileIO::kWriteBuffer;
    const std::string block(static_cast<size_t>(B + 2000), 'b');
    // Bytes written, then the size on disk and Tell(): a block is held, a write that would
    // overflow sends the buffer out first, and a full block goes straight through after it.
    const std::tuple<int64_t, int64_t, int64_t> steps[] = {
        {B - 1, 0, B - 1},
        {1, 0, B},
        {1, B, B + 1},
        {B, 2 * B + 1, 2 * B + 1},
        {10, 2 * B + 1, 2 * B + 11},
        {B + 1000, 3 * B + 1011, 3 * B + 1011},
    };
    for (const auto& [n, onDisk, tell] : steps) {
        SCOPED_TRACE(tell);
        ASSERT_TRUE(f.Write(block.data(), n));
        EXPECT_EQ(SizeOnDisk(), onDisk);
        EXPECT_EQ(f.Tell(), tell);
    }
    EXPECT_EQ(f.Close(), 0);
    EXPECT_EQ(SizeOnDisk(), 3 * B + 1011);
}

TEST_F(PDFileIOTest, ReadBackEndFlagAndPositionsBeyondFourGigabytes) {
    const int64_t far = 5000000000LL;
    PDFileIO w;
    ASSERT_EQ(w.OpenWrite(m_path.c_str()), 0);
    ASSERT_TRUE(w.Write("hello world", 11));
    EXPECT_EQ(w.Seek(far), far); // flushes the buffer first; the gap stays sparse
    ASSERT_TRUE(w.Write("x", 1));
    EXPECT_EQ(w.Tell(), far + 1);
    ASSERT_EQ(w.Close(), 0);
    EXPECT_EQ(SizeOnDisk(), far + 1);

    PDFileIO r;
    ASSERT_EQ(r.OpenRead(m_path.c_str()), 0);
    char buf[32] = {};
    EXPECT_EQ(r.Read(buf, 5), 5);
    EXPECT_EQ(std::string(buf, 5), "hello");
    EXPECT_EQ(r.Tell(), 5);
    EXPECT_EQ(r.GetByte(), ' ');
    EXPECT_EQ(r.Seek(0, 2), far + 1);
    EXPECT_EQ(r.Seek(-3, 2), far - 2);
    EXPECT_EQ(r.Read(buf, 32), 3);
    EXPECT_EQ(std::string(buf, 3), std::string("\0\0x", 3));
    EXPECT_FALSE(r.AtEnd());
    EXPECT_EQ(r.GetByte(), -1);
    EXPECT_TRUE(r.AtEnd());
    EXPECT_EQ(r.Seek(far), far);
    EXPECT_FALSE(r.AtEnd()); // seeking clears the end flag
    EXPECT_EQ(r.GetByte(), 'x');
    EXPECT_EQ(r.Tell(), far + 1);
    EXPECT_EQ(r.Seek(6), 6);
    EXPECT_EQ(r.GetByte(), 'w');
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
