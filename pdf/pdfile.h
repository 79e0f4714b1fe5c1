// PDFile: a PDF document, read from a file or memory (PDReader), written as a new file (PDWriter),
// or both: an input read while an output is written from it.
#pragma once

#include "pdf/pdreader.h"
#include "pdf/pdwriter.h"

class PDFile : public PDReader, public PDWriter {
public:
    PDFile();
    ~PDFile() override;
};
