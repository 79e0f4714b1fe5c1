#include "tool/options.h"

#include "tool/numtext.h"

#include <cstring>
#include <utility>

namespace {

bool Is(const char* arg, const char* option) {
    return std::strcmp(arg, option) == 0;
}

// The argument after position i, when there is one. A missing option argument counts as absent.
const char* NextArgument(int argc, const char* const* argv, int& i) {
    if (i + 1 >= argc) {
        return nullptr;
    }
    ++i;
    return argv[i];
}

void TakeFontSizes(int argc, const char* const* argv, int& i, PDRunRequest& request) {
    // Deliberate: -fs with fewer than two arguments after it is an unknown option, so what
    // follows it is read as the file names (-fs 6 lists the fields of a file called 6).
    if (i + 2 >= argc) {
        return;
    }
    float low = ReadLeadingDecimal(argv[i + 1]);
    float high = ReadLeadingDecimal(argv[i + 2]);
    if (low > high && low > 0.0f && high > 0.0f) {
        std::swap(low, high);
    }
    request.fontSizeLow = low;
    request.fontSizeHigh = high;
    i += 2;
}

void TakeOptional(int argc, const char* const* argv, int& i, std::optional<std::string>& slot) {
    const char* value = NextArgument(argc, argv, i);
    if (value != nullptr) {
        slot = value;
    }
}

void TakeText(int argc, const char* const* argv, int& i, std::string& slot) {
    const char* value = NextArgument(argc, argv, i);
    if (value != nullptr) {
        slot = value;
    }
}

// One option at argv[i]; i is left on the last argument it used. Unknown options are ignored.
void ScanOne(int argc, const char* const* argv, int& i, PDRunRequest& request) {
    const char* arg = argv[i];
    if (Is(arg, "-l")) {
        request.list = true;
    } else if (Is(arg, "-fs")) {
        TakeFontSizes(argc, argv, i, request);
    } else if (Is(arg, "-flatten")) {
        request.flatten = true;
    } else if (Is(arg, "-pw")) {
        TakeText(argc, argv, i, request.inputPassword);
    } else if (Is(arg, "-user")) {
        TakeOptional(argc, argv, i, request.userPassword);
    } else if (Is(arg, "-owner")) {
        TakeOptional(argc, argv, i, request.ownerPassword);
    } else if (Is(arg, "-perm")) {
        TakeText(argc, argv, i, request.permissions);
    } else if (Is(arg, "-quiet")) {
        request.quiet = true;
    } else if (Is(arg, "--aes")) {
        request.aes = true;
    } else if (Is(arg, "--pw-file")) {
        TakeText(argc, argv, i, request.inputPasswordFile);
    } else if (Is(arg, "--user-file")) {
        TakeText(argc, argv, i, request.userPasswordFile);
    } else if (Is(arg, "--owner-file")) {
        TakeText(argc, argv, i, request.ownerPasswordFile);
    } else if (Is(arg, "--json")) {
        request.json = true;
    } else if (Is(arg, "--batch")) {
        TakeOptional(argc, argv, i, request.batchFile);
    } else if (Is(arg, "--help")) {
        request.help = true;
    } else if (Is(arg, "--version")) {
        request.version = true;
    } else if (Is(arg, "--font")) {
        if (const char* file = NextArgument(argc, argv, i); file != nullptr)
            request.fontFiles.emplace_back(file);
    }
}

} // namespace

PDScanResult ScanOptions(int argc, const char* const* argv, PDRunRequest& request) {
    if (argc < 2 || argv == nullptr) {
        return PDScanResult::kUsage;
    }
    int i = 1;
    while (i < argc && argv[i] != nullptr && argv[i][0] == '-') {
        ScanOne(argc, argv, i, request);
        ++i;
    }
    if (i >= argc || argv[i] == nullptr) {
        return PDScanResult::kInsufficient;
    }
    request.inputName = argv[i++];
    if (i < argc && argv[i] != nullptr) {
        request.outputName = argv[i++];
    } else {
        request.list = true;
    }
    request.firstAssignment = i;
    return PDScanResult::kRun;
}

bool ApplyFontSizeOption(float low, float high, PDFontSizeLimits& limits) {
    if (low > 0.0f && high > 0.0f) {
        limits.largest = low > high ? low : high;
        limits.smallest = low > high ? high : low;
    } else if (low > 0.0f) {
        // Deliberate: a lone first value sets the smallest size, while a lone second value sets
        // the largest; the two rows are not mirror images.
        limits.smallest = low;
    } else if (high > 0.0f) {
        limits.largest = high;
    } else {
        return false;
    }
    return true;
}
