// PDNameStore: the named destinations of an output document, its /Names dictionary with merged
// JavaScript names, and the writing of /Dests, /Names and /AcroForm at the end of the document.
#pragma once

#include "pdf/pdvalue.h"

#include <cstdint>
#include <memory>

class PDFile;
class PDFInput;
class PDOutputDoc;

class PDNameStore {
public:
    PDNameStore();
    ~PDNameStore();
    PDNameStore(const PDNameStore&) = delete;
    PDNameStore& operator=(const PDNameStore&) = delete;

    // The document whose pages a page index of -1 refers to (not owned). Every import binds it
    // too; until one is bound, -1 cannot be resolved and such a destination is refused.
    void BindOutput(const PDFile* output) noexcept;

    // A destination to output page index (-1: the last page written so far). left and top of 0,
    // and a zoom not above 0, stand for unspecified. False when the name is present already (the
    // first definition wins).
    bool AddDest(const PDStr& name, int pageIndex, int left, int top, float zoom);
    // A destination value copied from an input (references pulled into the input's output and
    // renumbered through its map). False for a missing value, a reference to 0, an input not bound
    // to an output, and, with checkDuplicates, a name present already. Without checkDuplicates a
    // present name takes the new value.
    bool AddDest(const PDStr& name, PDFInput& input, const PDValue* value, bool checkDuplicates);
    // Walks the input name tree under node (an object number, or a reference or dictionary value)
    // and adds each destination whose page was transferred.
    void ImportDests(PDFInput& input, PDOutputDoc& output, int32_t node);
    void ImportDests(PDFInput& input, PDOutputDoc& output, const PDValue& node);
    // The same for an old-style catalog /Dests dictionary (name -> destination).
    void ImportCatalogDests(PDFInput& input, PDOutputDoc& output, const PDValue& dests);
    // The value under name in the input name tree rooted at node (an object number, or a
    // reference or dictionary value); null when absent. Owned by the caller.
    static std::unique_ptr<PDValue> Lookup(PDFInput& input, const PDStr& name, int32_t node);
    static std::unique_ptr<PDValue> Lookup(PDFInput& input, const PDStr& name, const PDValue& node);
    // Carries the template's /Names dictionary entries other than /Dests into the output
    // (JavaScript trees are collected for merging). The first input to bring a key wins.
    void ImportNames(PDFInput& input, PDOutputDoc& output, const PDValue& names);

    // The end-of-document writer: /Dests tree, /Names dictionary and /AcroForm, each adding its
    // entry to the output catalog. False when the output failed.
    bool Write(PDOutputDoc& output);

    struct Table;

private:
    Table& Entries();
    bool WriteDests(PDOutputDoc& output);
    bool WriteNames(PDOutputDoc& output);

    std::unique_ptr<Table> m_table;
};
