// The well-known dictionary keys: slot numbers and texts, defined once.
#pragma once

#define PD_WELL_KNOWN_KEYS(X)                                                                      \
    X(Length, "/Length")                                                                           \
    X(Pages, "/Pages")                                                                             \
    X(Outlines, "/Outlines")                                                                       \
    X(Kids, "/Kids")                                                                               \
    X(Parent, "/Parent")                                                                           \
    X(Type, "/Type")                                                                               \
    X(Count, "/Count")                                                                             \
    X(Resources, "/Resources")                                                                     \
    X(Dest, "/Dest")                                                                               \
    X(Contents, "/Contents")                                                                       \
    X(Annots, "/Annots")                                                                           \
    X(Font, "/Font")                                                                               \
    X(MediaBox, "/MediaBox")                                                                       \
    X(XObject, "/XObject")                                                                         \
    X(Filter, "/Filter")                                                                           \
    X(Name, "/Name")                                                                               \
    X(ProcSet, "/ProcSet")                                                                         \
    X(First, "/First")                                                                             \
    X(Next, "/Next")                                                                               \
    X(Prev, "/Prev")

namespace pdkey {
enum Slot : int {
#define PD_KEY_ENUM(id, text) id,
    PD_WELL_KNOWN_KEYS(PD_KEY_ENUM)
#undef PD_KEY_ENUM
        kWellKnownCount
};

// Text of a well-known slot ("/Length" for 0); null for any other slot.
const char* WellKnownText(int slot);
} // namespace pdkey
