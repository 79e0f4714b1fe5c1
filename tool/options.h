// The option scan of the command line and the request it produces.
#pragma once

#include <optional>
#include <string>
#include <vector>

struct PDRunRequest {
    bool list = false;
    bool flatten = false;
    bool quiet = false;
    std::string inputPassword;                // "" when -pw was not given
    std::optional<std::string> userPassword;  // absent unless -user had an argument
    std::optional<std::string> ownerPassword; // absent unless -owner had an argument
    std::string permissions;                  // "" when -perm was not given
    float fontSizeLow = 0.0f;                 // 0 = not given
    float fontSizeHigh = 0.0f;
    // Long options.
    std::vector<std::string> fontFiles; // --font, in the order given: tried before system fonts
    std::string inputName;
    std::string outputName;  // empty for a listing with one file name
    int firstAssignment = 0; // index into argv; argc when there are none

    // Long options, before the file names. A password file gives the first line of the file
    // named ("-" for standard input); empty names were not given.
    bool aes = false;              // --aes: protected outputs use AES-256 instead of RC4
    std::string inputPasswordFile; // --pw-file
    std::string userPasswordFile;  // --user-file
    std::string ownerPasswordFile; // --owner-file
    // Long options (written before the file names; unknown ones are ignored like unknown short
    // ones, so classic invocations read as they always did).
    bool json = false;                    // --json: the listing as one JSON document
    bool help = false;                    // --help
    bool version = false;                 // --version
    std::optional<std::string> batchFile; // --batch FILE: one output per CSV record
};

enum class PDScanResult {
    kUsage,        // no argument at all
    kInsufficient, // options but no file name
    kRun,
};

// Fills request from argv[1..argc-1]. Never reads past argv[argc-1].
PDScanResult ScanOptions(int argc, const char* const* argv, PDRunRequest& request);

// The auto-size limits that -fs asks for, given the document's current ones.
struct PDFontSizeLimits {
    float largest = 12.0f;
    float smallest = 5.0f;
};
// False when neither value is greater than 0 (the limits stay as they are).
bool ApplyFontSizeOption(float low, float high, PDFontSizeLimits& limits);
