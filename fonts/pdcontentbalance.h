// Whether a page's content ends in the graphics state it began with, which decides whether more
// content may simply be appended behind it.
#pragma once

#include <cstdint>

class PDReader;
class PDValue;

struct PDContentBalance {
    int unclosedSaves = 0;      // "q" without its "Q" ("Q" without "q" counts nothing)
    bool cmOutsideSave = false; // "cm" while no "q" is open
    bool Clean() const { return unclosedSaves == 0 && !cmOutsideSave; }
};

// Reads the decoded content data[0, length) of a page with the given resources (not owned, may
// be null). Forms called through "Do" do not count: the viewer brackets them.
PDContentBalance PDCheckContentBalance(PDReader& file, const PDValue* resources,
                                       const uint8_t* data, int64_t length);
