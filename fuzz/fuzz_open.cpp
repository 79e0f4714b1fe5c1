// Opens a document from memory, loads its objects and walks its pages.
// Contract: no crash, no sanitizer report, no hang; only PDAllocError may escape.
#include "fuzz/fuzz_target.h"

#include "structure/pdinput.h"

#include <algorithm>

namespace {
// Enough objects for any seed; keeps one input from running for minutes on a huge /Size.
constexpr int32_t kMaxObjectsLoaded = 20000;
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    PDFInput in;
    if (!in.OpenMemory(data, static_cast<int64_t>(size)))
        return 0;
    in.SetPassword("");
    int32_t count = std::min(in.ObjectCount(), kMaxObjectsLoaded);
    for (int32_t n = 1; n < count; ++n) {
        PDInputObj* obj = in.GetObj(n);
        if (obj != nullptr && obj->Value() != nullptr)
            in.Resolve(obj->Value()->Get("/Parent"));
    }
    for (int32_t page : in.PageNumbers())
        in.ResolveKey(in.GetObj(page) != nullptr ? in.GetObj(page)->Value() : nullptr, "/Contents");
    in.ReleaseAll();
    return 0;
}
