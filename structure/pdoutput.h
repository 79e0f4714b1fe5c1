// PDOutputDoc: an output document with the stores that a transfer fills (fields, fonts,
// destinations, names, outlines, form dictionary entries) and the end-of-document writer that
// empties them into the file.
#pragma once

#include "pdf/pdfile.h"
#include "structure/pdfieldstore.h"
#include "structure/pdfontstore.h"
#include "structure/pdnames.h"
#include "structure/pdoutln.h"

#include <memory>
#include <vector>

class PDOutputDoc : public PDFile {
public:
    PDOutputDoc();
    ~PDOutputDoc() override;

    // Widgets and field nodes (StoreField), the form's top-level field list and /CO, the entries
    // of the output's /AcroForm.
    PDFieldStore& Fields() noexcept { return m_fields; }
    // Fonts with /Widths (StoreFont) and the /DR font list.
    PDFontStore& Fonts() noexcept { return m_fonts; }
    // Named destinations, the /Names dictionary and its JavaScript trees.
    PDNameStore& Names() noexcept { return m_names; }
    // The outline root, made by CreateOutlines; null before.
    PDOutlineRoot* Outlines() noexcept { return m_outlines.get(); }
    // Reports "CreateOutlines called more than once\n" and returns the existing root on a second
    // call.
    PDOutlineRoot& CreateOutlines();

protected:
    // Fonts, fields, destinations, names, outlines and /AcroForm, with their
    // catalog entries. False when any of them failed.
    bool WriteCatalogEntries() override;

private:
    PDFieldStore m_fields;
    PDFontStore m_fonts;
    PDNameStore m_names;
    std::unique_ptr<PDOutlineRoot> m_outlines;
};
