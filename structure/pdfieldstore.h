// PDFieldStore: the form fields and widgets of an output document, stored once each (StoreField),
// and what the output's /AcroForm is made of.
#pragma once

#include "pdf/pdarr.h"
#include "pdf/pdvalue.h"

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

class PDFInput;
class PDInputObj;
class PDOutputDoc;

class PDFieldStore {
public:
    PDFieldStore();
    ~PDFieldStore();

    // Stores a renumbered copy of an input field or widget under its mapped number. A top-level
    // field whose name is stored already (from another input) is merged with it: the two become
    // kids of one field of that name.
    void StoreField(PDOutputDoc& output, PDInputObj& field, PDFInput& input);

    // Biased numbers of the top-level fields in the order stored: /Fields of the output.
    std::vector<int32_t> TopLevelNumbers() const;
    // Biased numbers for /CO, in calculation order (empty when none was collected).
    PDArr<int32_t>& CalculationOrder() noexcept { return m_calcOrder; }
    // Further entries of the output's /AcroForm (copied from the inputs, references already
    // biased), written after /Fields, /DR, /DA and /CO.
    PDValue& FormEntries();
    bool HasFields() const noexcept;

    // A copy of the field under biased number n (top level or kid) as it would be written now,
    // references biased; null when none.
    std::unique_ptr<PDValue> StoredField(int32_t n, PDOutputDoc& output) const;
    int ChildCount() const noexcept { return static_cast<int>(m_children.size()); }

    // Writes every stored field and widget object. Fields held by number are read from their
    // inputs now, so the inputs must still be open.
    bool Write(PDOutputDoc& output);

private:
    struct Stored;
    static const PDValue* Current(const Stored& stored);
    static bool Own(Stored& stored, PDOutputDoc& output);
    void AddChild(int32_t n, std::unique_ptr<PDValue> dict);
    void AddByNumber(std::vector<std::unique_ptr<Stored>>& list, int32_t n, PDInputObj& field,
                     PDFInput& input, PDOutputDoc& output);
    void MakeKidsOf(Stored& top, PDOutputDoc& output, PDInputObj& field, PDFInput& input);
    void MergePair(Stored& top, PDOutputDoc& output, PDInputObj& field, PDFInput& input);
    void TakeOver(Stored& top, PDOutputDoc& output, PDInputObj& field, PDFInput& input);

    std::vector<std::unique_ptr<Stored>> m_topLevel;
    std::vector<std::unique_ptr<Stored>> m_children;
    std::unordered_map<int32_t, Stored*> m_byNumber;
    std::unordered_map<std::string, size_t> m_byName; // /T as written -> top-level index
    PDArr<int32_t> m_calcOrder{100};
    std::unique_ptr<PDValue> m_formEntries;
};
