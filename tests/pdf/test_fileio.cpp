#include "pdf/pdfileio.h"
#include "tests/support/run_tool.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>

namespace {

// Offsets beyond 32 bits: a write far out leaves a sparse gap, reads and seeks from the end find
// it, and a seek clears the end flag.
TEST(PDFileIOTest, PositionsBeyondFourGigabytes) {
    TempDir dir;
    const std::string path = dir.Path() + "/big";
    const int64_t far = 5000000000LL;
    PDFileIO w;
    ASSERT_EQ(w.OpenWrite(path.c_str()), 0);
    ASSERT_TRUE(w.Write("hello world", 11));
    EXPECT_EQ(w.Seek(far), far);
    ASSERT_TRUE(w.Write("x", 1));
    EXPECT_EQ(w.Tell(), far + 1);
    ASSERT_EQ(w.Close(), 0);

    PDFileIO r;
    ASSERT_EQ(r.OpenRead(path.c_str()), 0);
    char buf[32] = {};
    EXPECT_EQ(r.Read(buf, 5), 5);
    EXPECT_EQ(std::string(buf, 5), "hello");
    EXPECT_EQ(r.Seek(0, 2), far + 1);
    EXPECT_EQ(r.Seek(-3, 2), far - 2);
    EXPECT_EQ(r.Read(buf, 32), 3);
    EXPECT_EQ(std::string(buf, 3), std::string("\0\0x", 3));
    EXPECT_EQ(r.GetByte(), -1);
    EXPECT_TRUE(r.AtEnd());
    EXPECT_EQ(r.Seek(far), far);
    EXPECT_FALSE(r.AtEnd());
    EXPECT_EQ(r.GetByte(), 'x');
    EXPECT_EQ(r.Seek(6), 6);
    EXPECT_EQ(r.GetByte(), 'w');
}

TEST(PDFileIOTest, OpenFailuresGiveTheSystemError) {
    PDFileIO f;
    EXPECT_EQ(f.OpenRead("/no/such/file.pdf"), ENOENT);
    EXPECT_EQ(f.OpenWrite("/no/such/dir/out.pdf"), ENOENT);
    EXPECT_FALSE(f.Write("x", 1));
    char c = 0;
    EXPECT_EQ(f.Read(&c, 1), 0);
    EXPECT_EQ(f.Seek(0), -1);
}

} // namespace
