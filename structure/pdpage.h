// Page-level helpers that stand beside PDFInput's page operations (declared with PDFInput):
// the annotation cursor.
#pragma once

#include "pdf/pdfile.h"
#include "pdf/pdvalue.h"

#include <memory>

class PDInputObj;

// Goes through the elements of a page's /Annots, from the first. An indirect array is read
// through the input's cache, or privately for other documents; the cursor owns what it read.
class PDAnnotCursor {
public:
    PDAnnotCursor(PDFile& doc, const PDValue& page);
    ~PDAnnotCursor();
    PDAnnotCursor(const PDAnnotCursor&) = delete;
    PDAnnotCursor& operator=(const PDAnnotCursor&) = delete;

    // The next element as written (usually a reference); null at the end. Owned by the page's
    // document or by the cursor.
    PDValue* Next() noexcept;

private:
    std::unique_ptr<PDValue> m_owned;
    PDValue* m_next = nullptr;
};
