// Listing runs of the built tool: what is printed, the exit status, and that nothing is created.
#include "tests/structure/structure_fixture.h"
#include "tests/support/run_tool.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace {

const char* kExampleListing = "name                   1 [180,700/320,24] : Ada Lovelace\n"
                              "address.street         1 [180,660/320,24] : \n"
                              "address.city           1 [180,620/320,24] : \n"
                              "since                   1 [180,580/80,24] : \n"
                              "newsletter              1 [180,540/16,16] : Off\n"
                              "plan                    1 [180,508/16,16] : Off\n"
                              "plan                    1 [260,508/16,16] : Off\n"
                              "notes                  1 [180,404/320,80] : \n";

} // namespace

TEST(ListingEndToEnd, ListsTheExampleFormEitherWay) {
    REQUIRE_TOOL();
    const std::vector<std::vector<std::string>> runs = {
        {kExampleForm}, {"-l", kExampleForm, "out.pdf"}, {"-quiet", "-l", kExampleForm}};
    for (const auto& args : runs) {
        SCOPED_TRACE(testing::PrintToString(args));
        TempDir dir;
        ToolResult r = RunTool(ToolPath(), args, "", dir.Path());
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, kExampleListing);
        EXPECT_EQ(r.err, "");
        EXPECT_TRUE(std::filesystem::is_empty(dir.Path()));
    }
}

TEST(ListingEndToEnd, FilesThatAreNoFormsListNothing) {
    REQUIRE_TOOL();
    TempDir dir;
    WriteFile(dir.Path() + "/plain.pdf", teststructure::WithPages(1, {}));
    WriteFile(dir.Path() + "/text.pdf", "this is not a PDF file at all\n");
    WriteFile(dir.Path() + "/empty.pdf", teststructure::WithPages(0, {}));
    ToolResult plain = RunTool(ToolPath(), {"plain.pdf"}, "", dir.Path());
    EXPECT_EQ(plain.status, 0);
    EXPECT_EQ(plain.out, "");
    // Neither a text nor a document without a single page can be a template.
    for (const char* name : {"text.pdf", "empty.pdf"}) {
        ToolResult r = RunTool(ToolPath(), {name, "out.pdf"}, "", dir.Path());
        EXPECT_EQ(r.status, 2);
        EXPECT_EQ(r.err, std::string("File '") + name + "' cannot be opened as template\n");
        EXPECT_FALSE(std::filesystem::exists(dir.Path() + "/out.pdf"));
    }
}

// Encrypted copies of the example form made by an independent tool; qpdf's spelling of each kind.
const std::map<std::string, std::string> kEncryptions = {
    {"40", "--encrypt user owner 40"},
    {"128", "--encrypt user owner 128 --use-aes=n"},
    {"aes", "--encrypt user owner 128 --use-aes=y"},
    {"aes-clear-metadata", "--encrypt user owner 128 --use-aes=y --cleartext-metadata"},
    {"aes-object-streams", "--object-streams=generate --encrypt user owner 128 --use-aes=y"},
    {"rc4-filters", "--encrypt user owner 128 --use-aes=n --force-V4"},
    {"256", "--encrypt user owner 256"},
    {"256-r5", "--encrypt user owner 256 --force-R5"},
    {"256-clear-metadata", "--encrypt user owner 256 --cleartext-metadata"},
    {"256-object-streams", "--object-streams=generate --encrypt user owner 256"},
    {"256-unknown-revision", "--encrypt user owner 256"}, // then /R 6 becomes /R 7
};

void Encrypt(const std::string& kind, const std::string& path) {
    std::string cmd = "qpdf --allow-weak-crypto " + kEncryptions.at(kind) + " -- '" + kExampleForm +
                      "' '" + path + "'";
    ASSERT_EQ(std::system(cmd.c_str()), 0);
    if (kind == "256-unknown-revision") {
        std::string pdf = ReadFile(path);
        pdf.replace(pdf.find("/R 6"), 4, "/R 7");
        WriteFile(path, pdf);
    }
}

TEST(ListingEndToEnd, EncryptedTemplatesOpenOnlyWithTheirPassword) {
    REQUIRE_TOOL();
    if (!Have("qpdf --version"))
        GTEST_SKIP() << "qpdf is not installed";
    TempDir dir;
    WriteFile(dir.Path() + "/user.txt", "user\n");
    WriteFile(dir.Path() + "/owner.txt", "owner\r\nsecond line\n");
    struct Case {
        const char* kind;
        std::vector<std::string> args;
        int status;
        std::string err;
        std::string input = "";
    };
    const std::string wrong = "File 'locked.pdf' cannot be opened: the password is wrong\n";
    const std::string unsupported =
        "File 'locked.pdf' cannot be opened: its encryption is not supported\n";
    const char* script = "import pypdf,sys\n"
                         "print(pypdf.PdfReader(sys.argv[1]).get_fields()['name']['/V'])\n";
    const std::string twice =
        "Password file '-' cannot be read: standard input is asked for twice\n";
    // clang-format off
    const Case cases[] = {
        {"40", {"-pw", "user", "locked.pdf"}, 0, ""}, {"40", {"-pw", "owner", "locked.pdf"}, 0, ""},
        {"128", {"-pw", "user", "locked.pdf"}, 0, ""}, {"128", {"locked.pdf"}, 2, wrong},
        {"128", {"-pw", "owner", "-l", "locked.pdf", "out.pdf"}, 0, ""},
        {"40", {"-pw", "guess", "locked.pdf", "out.pdf", "a=b"}, 2, wrong},
        {"aes", {"-pw", "user", "locked.pdf"}, 0, ""}, {"aes", {"-pw", "owner", "locked.pdf"}, 0, ""},
        {"aes", {"-pw", "guess", "locked.pdf"}, 2, wrong},
        {"aes-clear-metadata", {"-pw", "user", "locked.pdf"}, 0, ""},
        {"aes-object-streams", {"-pw", "user", "locked.pdf"}, 0, ""},
        {"rc4-filters", {"-pw", "owner", "locked.pdf"}, 0, ""},
        {"256", {"-pw", "user", "locked.pdf"}, 0, ""}, {"256", {"-pw", "owner", "locked.pdf"}, 0, ""},
        {"256", {"-pw", "guess", "locked.pdf", "out.pdf", "a=b"}, 2, wrong},
        {"256-r5", {"-pw", "user", "locked.pdf"}, 0, ""},
        {"256-r5", {"-pw", "User", "locked.pdf"}, 2, wrong},
        {"256-clear-metadata", {"-pw", "owner", "locked.pdf"}, 0, ""},
        {"256-object-streams", {"-pw", "user", "locked.pdf"}, 0, ""},
        {"256-unknown-revision", {"-pw", "user", "locked.pdf", "out.pdf"}, 2, unsupported},
        // Passwords from files: the first line, without LF or CR LF.
        {"256", {"--pw-file", "user.txt", "locked.pdf"}, 0, ""},
        {"128", {"--pw-file", "owner.txt", "locked.pdf"}, 0, ""},
        {"256", {"--pw-file", "-", "locked.pdf"}, 0, "", "user"},
        {"256", {"--pw-file", "none.txt", "locked.pdf", "out.pdf"}, 2,
         "Password file 'none.txt' cannot be read: No such file or directory\n"},
        {"256", {"--pw-file", "-", "locked.pdf", "out.pdf", "@"}, 2, twice, "user\n"},
        // Filled, the value as independent readers see it.
        {"aes-object-streams", {"-pw", "user", "locked.pdf", "filled.pdf", "name=Grace"}, 0, ""},
        {"256", {"-pw", "owner", "locked.pdf", "filled.pdf", "name=Grace"}, 0, ""},
        {"256-r5", {"-pw", "owner", "locked.pdf", "filled.pdf", "name=Grace"}, 0, ""},
        {"256-object-streams", {"-pw", "owner", "locked.pdf", "filled.pdf", "name=Grace"}, 0, ""},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.kind) + " " + testing::PrintToString(c.args));
        Encrypt(c.kind, dir.Path() + "/locked.pdf");
        ToolResult r = RunTool(ToolPath(), c.args, c.input, dir.Path());
        EXPECT_EQ(r.status, c.status);
        const std::string filled = dir.Path() + "/filled.pdf";
        EXPECT_EQ(r.out, c.status == 0 && c.args.back() != "name=Grace" ? kExampleListing : "");
        EXPECT_EQ(r.err, c.err);
        EXPECT_FALSE(std::filesystem::exists(dir.Path() + "/out.pdf"));
        if (std::filesystem::exists(filled) && Have("pdftotext -v") &&
            Have("/usr/bin/python3 -c 'import pypdf'")) {
            EXPECT_EQ(Shell("/usr/bin/python3 -c " + Quote(script) + " " + filled), "Grace\n");
            EXPECT_NE(Shell("pdftotext " + filled + " -").find("Grace"), std::string::npos);
        }
        std::filesystem::remove(filled);
    }
}
