// RefCopier: the walker that pulls every object a value references into an output document.
#pragma once

#include <cstdint>

class PDFInput;
class PDInputObj;
class PDIndirectObj;
class PDOutputDoc;
class PDValue;

class RefCopier {
public:
    // caching: targets are loaded into the input's cache (GetObj); otherwise cached objects are
    // used when present and the rest is read into temporaries that live only for the walk.
    RefCopier(PDFInput& input, PDOutputDoc& output, bool caching);
    virtual ~RefCopier();
    RefCopier(const RefCopier&) = delete;
    RefCopier& operator=(const RefCopier&) = delete;

    // Visits every reference inside value (which belongs to current, when given). Entries whose
    // target cannot be read, or that the filter refuses, are removed from their dictionary.
    void Walk(PDValue& value, PDIndirectObj* current);

protected:
    // Asked for each target about to be copied; false drops the entry that refers to it. The
    // plain copier accepts all.
    virtual bool Filter(PDInputObj& target);
    // Asked before anything else for each reference: true leaves it alone (not followed, entry
    // kept). keySlot is the well-known key index of the entry (-1 for other keys and outside
    // dictionaries); elements of an array take the key of the entry that holds the array. depth
    // is 0 for references directly inside the walked value.
    virtual bool Skip(int keySlot, const char* keyText, int depth);

    PDFInput& Input() const noexcept { return m_input; }
    PDOutputDoc& Output() const noexcept { return m_output; }

private:
    struct State;
    enum class Outcome { kKeep, kDrop };
    void Step(State& state);
    Outcome VisitReference(State& state, int keySlot, const char* keyText, int32_t n);
    void CloseFrame(State& state);

    PDFInput& m_input;
    PDOutputDoc& m_output;
    bool m_caching;
    State* m_state = nullptr; // the walk in progress
};
