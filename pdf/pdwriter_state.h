// The state of a document while it writes: shared by the writer's source files only.
#pragma once

#include "pdf/pdarr.h"
#include "pdf/pdfileio.h"
#include "pdf/pdtokenwriter.h"
#include "pdf/pdwriter.h"
#include "streams/pdsecurity.h"

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

struct PDWriter::WriteState {
    WriteState();
    ~WriteState();

    PDTokenWriter tokens;
    PDFileIO file;
    // File offset per output number; 0 while the object is unwritten.
    std::vector<int64_t> index;
    // Next output number (unbiased): one more than the highest handed out.
    int32_t next = 1;
    // One table per input document: input number -> biased output number, 0 when none yet.
    std::vector<std::vector<int32_t>> maps;
    // Per map, the input it renumbers; null when not told.
    std::vector<PDReader*> sources;
    PDArr<int32_t> released{100};
    uint8_t id[16] = {};

    // The page tree: file numbers of the pages in order, the replay cursor, the biased numbers of
    // the first-level nodes (one per six pages).
    std::vector<int32_t> pages;
    size_t pageCursor = 0;
    std::vector<int32_t> parents;

    std::unique_ptr<PDValue> catalog;
    std::unique_ptr<PDValue> trailer;
    int32_t root = 0;    // biased
    int32_t info = 0;    // biased
    int32_t encrypt = 0; // file number

    std::unique_ptr<PDSecurity> security;
    int32_t keyObject = 0; // file number whose key encrypts what is written; 0 for none
};
