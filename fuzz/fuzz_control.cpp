// Control-file scanner and assignment grammar over arbitrary bytes.
// Contract: no crash, no sanitizer report, no hang; only PDAllocError may escape.
#include "fuzz/fuzz_target.h"

#include "tool/assignment.h"
#include "tool/control_file.h"

#include <cstdio>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // fmemopen wants a non-empty, writable buffer even for reading.
    std::vector<char> bytes(data, data + size);
    bytes.push_back('\0');
    FILE* file = fmemopen(bytes.data(), size, "r");
    if (file == nullptr) {
        return 0;
    }
    static FILE* sink = std::fopen("/dev/null", "w");
    PDControlFile control(file);
    std::string line;
    PDAssignment assignment;
    while (control.NextLine(line)) {
        if (ParseAssignment(line, assignment) && assignment.kind == PDAssignKind::kAdd &&
            sink != nullptr) {
            PrintAddedField(sink, assignment);
        }
    }
    std::fclose(file);
    return 0;
}
