// One field assignment: "-NAME" deletes, "+NAME@page,x,y,w,h,font,size=VALUE" adds a text field
// and sets it, anything else is "NAME=VALUE".
#pragma once

#include "tool/run_streams.h"

#include <string>
#include <string_view>

class FormSession;

enum class PDAssignKind { kSet, kDelete, kAdd };

struct PDAssignment {
    PDAssignKind kind = PDAssignKind::kSet;
    std::string name;
    std::string value;
    // The parameters of an added field, as written (page counts from 1).
    int page = 1;
    float x = 10.0f;
    float y = 10.0f;
    float width = 100.0f;
    float height = 30.0f;
    int font = 0;
    float size = 12.0f;
};

// Field names are held in a buffer of this many bytes, the terminating zero included.
inline constexpr size_t kFieldNameBuffer = 256;

// Parses text into out (reset first). False when the name does not fit the name buffer.
bool ParseAssignment(std::string_view text, PDAssignment& out);

// Parses and carries out one assignment, printing its reports. A failure never stops the run.
void CarryOutAssignment(std::string_view text, FormSession& session, bool quiet, RunStreams& io);

// The report of a field that was added.
void PrintAddedField(FILE* out, const PDAssignment& added);
