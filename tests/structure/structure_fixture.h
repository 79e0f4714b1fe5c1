// Small documents for the structure tests, and outputs written to memory and read back.
#pragma once

#include "structure/pdinput.h"
#include "structure/pdoutput.h"
#include "tests/support/memory_input.h"
#include "tests/support/pdf_builder.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace teststructure {

// Catalog 1 and the given (number, body) objects; bodies with "stream:" before the data become
// streams ("<dict entries>stream:<data>").
inline std::string Document(const std::vector<std::pair<int, std::string>>& objects,
                            const std::string& catalogExtra = "") {
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

inline void Open(PDFInput& in, const std::string& pdf) {
    ASSERT_TRUE(testpdf::OpenBytes(in, pdf));
}

// Ends the output and returns the file it wrote.
inline std::string Finish(PDOutputDoc& out) {
    EXPECT_TRUE(out.EndWrite());
    int64_t length = 0;
    std::unique_ptr<uint8_t[]> image = out.TakeImage(&length);
    return std::string(reinterpret_cast<const char*>(image.get()), static_cast<size_t>(length));
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
    PDFInput in;
    bool ok = false;
    std::vector<int32_t> pages;
};

} // namespace teststructure
