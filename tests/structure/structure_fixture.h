// Small documents for the structure tests, and outputs written to memory and read back.
#pragma once

#include "pdf/pdstring.h"
#include "structure/pdinput.h"
#include "structure/pdoutput.h"
#include "tests/support/memory_input.h"
#include "tests/support/pdf_builder.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace teststructure {

using Objects = std::vector<std::pair<int, std::string>>;

// Catalog 1 and the given (number, body) objects; bodies with "stream:" before the data become
// streams ("<dict entries>stream:<data>").
inline std::string Document(const Objects& objects, const std::string& catalogExtra = "") {
    testpdf::PdfBuilder b;
    b.Add(1, "<< /Type /Catalog /Pages 2 0 R " + catalogExtra + " >>");
    for (const auto& [num, body] : objects) {
        size_t split = body.find("stream:");
        if (split == std::string::npos)
            b.Add(num, body);
        else
            b.AddStream(num, body.substr(0, split), body.substr(split + 7));
    }
    b.Trailer("/Root 1 0 R");
    return b.Build();
}

// The same with pages 3 .. 2 + count under node 2.
inline std::string WithPages(int count, Objects objects, const std::string& catalogExtra = "") {
    std::string kids;
    for (int p = 3; p < 3 + count; ++p) {
        kids += std::to_string(p) + " 0 R ";
        objects.emplace_back(p, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 200 200] >>");
    }
    objects.emplace_back(2, "<< /Type /Pages /Kids [" + kids + "] /Count " + std::to_string(count) +
                                " >>");
    return Document(objects, catalogExtra);
}

inline void Open(PDFInput& in, const std::string& pdf) {
    ASSERT_TRUE(testpdf::OpenBytes(in, pdf));
}

struct MemoryOutput : PDOutputDoc {
    MemoryOutput() { BeginWriteMemory(); }
    std::string Finish() { return testpdf::Finish(*this); }
};

// Pages first..last of the document transferred into a new output; the file written.
template <class Input = PDFInput>
std::string CopyPages(const std::string& pdf, int first, int last) {
    Input in;
    Open(in, pdf);
    MemoryOutput out;
    EXPECT_TRUE(in.Transfer(out, first, last));
    return out.Finish();
}

// A written file read back, with look-ups that follow references.
struct Reread {
    explicit Reread(const std::string& bytes) {
        ok = testpdf::OpenBytes(in, bytes);
        if (ok)
            pages = in.PageNumbers();
    }
    // The value at a path of keys (a number selects an array element), references followed.
    const PDValue* At(const PDValue* v, std::initializer_list<const char*> path) {
        for (const char* step : path) {
            v = in.Resolve(v);
            if (v == nullptr)
                return nullptr;
            v = step[0] == '/' ? v->Get(step) : v->Element(std::stoi(step));
        }
        return v;
    }
    const PDValue* Page(size_t i) {
        PDInputObj* page = i < pages.size() ? in.GetObj(pages[i]) : nullptr;
        return page != nullptr ? page->Value() : nullptr;
    }
    // The output page index a destination array leads to; -1 when it names no page.
    int PageOf(const PDValue* dest) {
        const PDValue* page = At(dest, {"0"});
        for (size_t i = 0; page != nullptr && i < pages.size(); ++i) {
            if (page->Kind() == kPDReference && pages[i] == page->Number())
                return static_cast<int>(i);
        }
        return -1;
    }
    PDFInput in;
    bool ok = false;
    std::vector<int32_t> pages;
};

// The decoded bytes of a string value; empty for anything else.
inline std::string Bytes(const PDValue* v) {
    PDStr bytes;
    if (v != nullptr && v->Kind() == kPDString)
        PDDecodeString(v->Text(), bytes);
    return bytes.ToString();
}

} // namespace teststructure
