#include "structure/pdoutput.h"

#include "streams/pddiag.h"

PDOutputDoc::PDOutputDoc() = default;

PDOutputDoc::~PDOutputDoc() = default;

PDOutlineRoot& PDOutputDoc::CreateOutlines() {
    if (m_outlines != nullptr) {
        PDReport("CreateOutlines called more than once\n");
        return *m_outlines;
    }
    m_outlines = std::make_unique<PDOutlineRoot>(*this);
    return *m_outlines;
}

bool PDOutputDoc::WriteCatalogEntries() {
    bool ok = true;
    ok = m_fonts.Write(*this) && ok;
    ok = m_fields.Write(*this) && ok;
    ok = m_names.Write(*this) && ok;
    if (m_outlines != nullptr)
        ok = m_outlines->Write() && ok;
    return ok;
}
