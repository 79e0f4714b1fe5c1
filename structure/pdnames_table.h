// The inside of PDNameStore, shared by its reading and writing sources only.
#pragma once

#include "structure/pdnames.h"

#include "pdf/pdvalue.h"
#include "streams/pdstr.h"

#include <cstdint>
#include <memory>
#include <string_view>
#include <unordered_map>
#include <vector>

struct PDNameStore::Table {
    struct Dest {
        PDStr name;
        int page = 0;                   // output page index
        int16_t left = 0;               // 0: unspecified
        int16_t top = 0;                // 0: unspecified
        float zoom = 0;                 // not above 0: unspecified
        std::unique_ptr<PDValue> value; // a destination copied from an input, written in place
        int32_t number = 0;             // biased output number of the written destination object
    };
    // One name with its value, as a leaf of a name tree holds them.
    struct Pair {
        PDStr name;
        std::unique_ptr<PDValue> value;
    };

    // Null when the name is absent.
    Dest* Find(std::string_view name) const;
    Dest& Insert(const PDStr& name);

    // Entries in insertion order; the map keys view the entries' own name bytes.
    std::vector<std::unique_ptr<Dest>> dests;
    std::unordered_map<std::string_view, Dest*> byName;
    const PDFile* output = nullptr;
    // The output catalog's /Names dictionary (references biased); /JavaScript holds a placeholder
    // whose value is replaced by the merged list when written.
    std::unique_ptr<PDValue> names = PDValue::MakeDictionary();
    std::vector<Pair> scripts;
};
