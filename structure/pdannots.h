// PDAnnotation: an annotation made for an output page. Adding one to a page gives it an output
// number and a place in the page's /Annots; the output writes it when the document ends.
#pragma once

#include "pdf/pdvalue.h"

#include <cstdint>
#include <memory>

class PDInputObj;
class PDOutputDoc;

class PDAnnotation {
public:
    // Takes the annotation dictionary (null: an empty one). References in it are input numbers
    // of the page's document or output numbers.
    explicit PDAnnotation(std::unique_ptr<PDValue> dict = nullptr);
    virtual ~PDAnnotation();
    PDAnnotation(const PDAnnotation&) = delete;
    PDAnnotation& operator=(const PDAnnotation&) = delete;

    // The biased output number, given when the annotation is added to a page; 0 before.
    int32_t Number() const noexcept { return m_number; }
    void SetNumber(int32_t n) noexcept { m_number = n; }
    // The renumbering map its references go through when written.
    void SetMap(int map) noexcept { m_map = map; }
    // Owned by the annotation.
    PDValue& Dictionary() noexcept { return *m_dict; }

    // Asked once the annotation has its number and its place in the page's /Annots; false
    // leaves it out. The plain annotation points /P at the page.
    virtual bool PrepareForPage(PDInputObj& page);
    // Writes the annotation object (and whatever else it owns) into output.
    virtual bool Write(PDOutputDoc& output);

private:
    std::unique_ptr<PDValue> m_dict;
    int32_t m_number = 0;
    int m_map = 0;
};
