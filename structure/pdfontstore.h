// PDFontStore: fonts with width tables met during a transfer, written once each with their widths
// completed, and the font resource list of the output's /DR.
#pragma once

#include "pdf/pdvalue.h"

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

class PDFInput;
class PDOutputDoc;

class PDFontStore {
public:
    PDFontStore();
    ~PDFontStore();

    // Takes the font dictionary (references already biased) stored under biased number n, filed
    // under its base name without a subset tag. A font without /BaseFont, or a second one under
    // the same number, is reported and dropped.
    void StoreFont(std::unique_ptr<PDValue> font, int32_t n);
    // Fonts stored under the base name ("/Helvetica"); 0 when none.
    int FontCount(const char* baseName) const;
    // Adds resource name -> biased font number to the /DR font list (the first entry of a name
    // wins).
    void RegisterResource(const char* name, int32_t n);
    // The /DR font list in the order registered.
    const std::vector<std::pair<std::string, int32_t>>& Resources() const noexcept {
        return m_resources;
    }
    // Biased number of the shared encoding object for /DR, 0 when none.
    int32_t EncodingNumber() const noexcept { return m_encoding; }
    void SetEncodingNumber(int32_t n) noexcept { m_encoding = n; }
    // On by default: fonts of one base name keep their own names. Off, fonts whose code range is
    // not the widest of their name get a subset-style name of their own.
    void SetRenaming(bool on) noexcept { m_renaming = on; }

    // The font writer: fills missing widths and writes every stored font.
    bool Write(PDOutputDoc& output);

    // The digits of the subset-style tag made from file number m.
    static std::string SubsetTag(int32_t m);

private:
    struct Entry;
    bool WriteEntry(PDOutputDoc& output, Entry& entry);
    std::vector<std::unique_ptr<Entry>> m_fonts;
    std::unordered_map<std::string, size_t> m_byName;
    std::vector<std::pair<std::string, int32_t>> m_resources;
    int32_t m_encoding = 0;
    bool m_renaming = true;
};
