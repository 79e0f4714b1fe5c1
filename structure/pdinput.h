// PDFInput: an input document with its cache of indirect objects; PDInputObj: one cached object.
#pragma once

#include "pdf/pdfile.h"
#include "pdf/pdobject.h"
#include "pdf/pdvalue.h"

#include <cstdint>
#include <memory>
#include <vector>

class PDFInput;

class PDInputObj : public PDIndirectObj {
public:
    PDInputObj(PDFInput* doc, int32_t number);
    ~PDInputObj() override;

    // The document the object belongs to (not owned).
    PDFInput* Document() const noexcept { return m_doc; }
    // The page-tree node above a page, set while pages are walked (not owned; null when unknown).
    PDInputObj* ParentNode() const noexcept { return m_parent; }
    void SetParentNode(PDInputObj* parent) noexcept { m_parent = parent; }

private:
    PDFInput* m_doc;
    PDInputObj* m_parent = nullptr;
};

class PDFInput : public PDFile {
public:
    // Object numbers from here up are output numbers and never name an input object.
    static constexpr int32_t kOutputBias = 10000000;

    PDFInput();
    ~PDFInput() override;

    int DocumentKind() const override { return 2; }
    // Input objects plus the objects made with NewObj.
    int32_t ObjectCount() const override;
    // One past the highest object number of the file itself.
    int32_t InputObjectCount() const { return PDFile::ObjectCount(); }

    // The object n, read on a miss and then cached. Owned by the cache; null for numbers of
    // kOutputBias and above, and when the object cannot be read.
    PDInputObj* GetObj(int32_t n);
    // The same look-up without reading: new objects, then the cache, then the current page.
    PDInputObj* PeekObj(int32_t n) const;
    PDIndirectObj* PeekCached(int32_t n) override { return PeekObj(n); }
    // Makes a new object holding value, numbered after every other object. Owned by the document.
    PDInputObj* NewObj(std::unique_ptr<PDValue> value);
    int32_t NewObjectCount() const { return static_cast<int32_t>(m_newObjs.size()); }
    // Deletes every cached object (and, unless keepNew, every new object); forgets the current
    // page.
    void ReleaseAll(bool keepNew = false);

    // Follows a reference (and a chain of them, briefly) to the cached object's value. A value that
    // is not a reference comes back as it is. Null for null, and when the target is unreadable.
    // The result is owned by the value's owner or by the cache.
    PDValue* Resolve(PDValue* value);
    const PDValue* Resolve(const PDValue* value);
    // Resolve(dict's entry key); null when dict is not a dictionary or lacks the key.
    PDValue* ResolveKey(const PDValue* dict, const char* key);

    // Object numbers of all pages in order (see PDFile::CollectPages).
    std::vector<int32_t> PageNumbers() { return CollectPages(); }

    // While set, the page is reachable through PeekObj and is not deleted from the cache.
    PDInputObj* CurrentPage() const noexcept { return m_currentPage; }
    void SetCurrentPage(PDInputObj* page) noexcept { m_currentPage = page; }

protected:
    void OnObjectsInvalidated() override { ReleaseAll(true); }

private:
    std::vector<std::unique_ptr<PDInputObj>> m_cache; // indexed by object number; 0 unused
    int32_t m_highest = 0;
    std::vector<std::unique_ptr<PDInputObj>> m_newObjs;
    PDInputObj* m_currentPage = nullptr;
};
