// Helpers of the destination and outline tests on top of the structure fixture.
#pragma once

#include "pdf/pdstring.h"
#include "tests/structure/structure_fixture.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace testout {

// Catalog 1 (with catalogExtra), pages 3 .. 2 + count under node 2, and the objects given.
inline std::string WithPages(int count, std::vector<std::pair<int, std::string>> objects,
                             const std::string& catalogExtra) {
    std::string kids;
    for (int p = 3; p < 3 + count; ++p) {
        kids += std::to_string(p) + " 0 R ";
        objects.emplace_back(p, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 200 200] >>");
    }
    objects.emplace_back(2, "<< /Type /Pages /Kids [" + kids + "] /Count " + std::to_string(count) +
                                " >>");
    return teststructure::Document(objects, catalogExtra);
}

// Registers count blank pages in out, as a page transfer would.
inline void AddPages(PDOutputDoc& out, int count) {
    for (int i = 0; i < count; ++i) {
        int index = out.OutputPageCount();
        int32_t page = out.NewObjectNumber();
        out.CountPage(page, 0);
        auto dict = PDValue::MakeDictionary();
        dict->Dict()->Set("/Parent", PDValue::MakeReference(out.ParentForPage(index, page)));
        out.WriteObject(page, *dict, 0);
    }
}

inline std::string Bytes(const PDValue* v) {
    PDStr bytes;
    if (v != nullptr && v->Kind() == kPDString)
        PDDecodeString(v->Text(), bytes);
    return bytes.ToString();
}

// The output page index a destination array leads to; -1 when it names no page.
inline int PageOf(teststructure::Reread& file, const PDValue* dest) {
    const PDValue* page = file.At(dest, {"0"});
    for (size_t i = 0; page != nullptr && i < file.pages.size(); ++i) {
        if (page->Kind() == kPDReference && file.pages[i] == page->Number())
            return static_cast<int>(i);
    }
    return -1;
}

} // namespace testout
