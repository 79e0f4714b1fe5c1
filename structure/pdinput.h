// PDFInput: an input document with its cache of indirect objects, and the transfer of its pages
// into output documents; PDInputObj: one cached object.
#pragma once

#include "pdf/pdarr.h"
#include "pdf/pdfile.h"
#include "pdf/pdobject.h"
#include "pdf/pdvalue.h"

#include <array>
#include <cstdint>
#include <memory>
#include <unordered_map>
#include <unordered_set>
#include <vector>

class PDFInput;
class PDOutputDoc;

class PDInputObj : public PDIndirectObj {
public:
    PDInputObj(PDFInput* doc, int32_t number);
    ~PDInputObj() override;

    // Writes the object into output through the document's map, or hands it to the output's
    // stores (widgets and fields to the field store, fonts with widths to the font store).
    // False when nothing was written or stored, so that what it references is not copied.
    virtual bool TransferToOutput(PDOutputDoc& output);

    // The document the object belongs to (not owned).
    PDFInput* Document() const noexcept { return m_doc; }
    // The page-tree node this object was reached from during a walk (looked up in the cache; null
    // when unknown or unreadable). Kept as a number, so releasing the node cannot leave it
    // dangling.
    PDInputObj* ParentNode() const;
    void SetParentNumber(int32_t parent) noexcept { m_parent = parent; }
    int32_t ParentLink() const noexcept { return m_parent; }
    // The object whose value holds the page's effective /Resources (set by PageResources); 0
    // when unknown.
    int32_t ResourcesOwner() const noexcept { return m_resourcesOwner; }
    void SetResourcesOwner(int32_t n) noexcept { m_resourcesOwner = n; }

    // Page operations: keySlot is /Annots or /Contents; n an output (biased) or input number.
    // The entry becomes an array holding a reference to n, first or last. False (with a report)
    // when the entry cannot hold it.
    bool AddEntry(int keySlot, int32_t n, bool atEnd);

private:
    bool TransferFormXObject(PDOutputDoc& output, const PDValue& dict);
    bool TransferFont(PDOutputDoc& output);

    PDFInput* m_doc;
    int32_t m_parent = 0;
    int32_t m_resourcesOwner = 0;
};

class PDFInput : public PDFile {
public:
    PDFInput();
    ~PDFInput() override;

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
    // page and the page cursor.
    void ReleaseAll(bool keepNew = false);
    // Releases the object in slot and empties the slot. The current page and new objects stay;
    // with releaseReferenced, cached objects it references are released too (not through
    // /Parent or /Dest). True when the object was deleted.
    bool ReleaseObj(PDInputObj*& slot, bool releaseReferenced);
    // Releases every object and the flags; the file stays open.
    virtual void Close();

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

    // ------------------------------------------------------------ transfer (pdtransfer.cpp)
    // Copies pages firstPage..lastPage (from 1, inclusive) with everything they reference into
    // output. Shared objects are written once per output; held objects once per transfer. False
    // when the page tree cannot be walked (error 1006 or 1008).
    bool Transfer(PDOutputDoc& output, int firstPage, int lastPage);
    // Asked for each page just before it is written; false leaves the page out.
    virtual bool AcceptPage(PDInputObj& page);
    // Binds output without copying pages: a new output gets fresh copied flags and a new map.
    void BindOutput(PDOutputDoc& output);
    // The output bound last (not owned); null before.
    PDOutputDoc* Output() const noexcept { return m_output; }
    // The renumbering map this input uses in Output().
    int MapIndex() const noexcept { return m_mapIndex; }
    // Pulls object n, and what it references, into the bound output unless it is there already.
    // False when n cannot be read or no output is bound.
    bool CopyObject(int32_t n);
    // A deep copy of value whose references are pulled into the bound output and renumbered
    // there (caching: targets stay in the cache). Null without a bound output.
    std::unique_ptr<PDValue> CopyIntoOutput(const PDValue& value, bool caching);
    // Pages transferred into the bound output, and the 0-based output page index of the p-th of
    // them (p from 0; -1 when out of range).
    int TransferredPageCount() const noexcept { return m_outputPages.Count(); }
    int OutputPageIndex(int p) const noexcept;

    // Releases what object n brought into the output, as after a page is written, so that a copy
    // does not hold a whole form at once; what is needed again is read again.
    void ReleaseCopied(int32_t n);
    // Held objects are written at the end of every transfer, each time under a new number.
    void MarkHeld(int32_t n);
    bool IsHeld(int32_t n) const noexcept;
    // An object changed in the cache before the output has read it (a filled field, a field that
    // lost or gained a kid) stays cached until the output ends: reading it again from the file
    // would undo the change. Everything else may leave the cache once copied.
    void KeepEdited(int32_t n);
    bool IsEdited(int32_t n) const noexcept;
    // The output has read object n for the last time: it leaves the cache unless it is held,
    // edited, or a page.
    void ReleaseRead(int32_t n);
    bool NeedsCopy(int32_t n) const;
    void MarkCopied(int32_t n, bool copied);
    // A page transferred before gets a new output number next time.
    void ForgetCopy(int32_t n);

    // ------------------------------------------------------------ pages (pdpage.cpp)
    // Page by 0-based index in the order of PageSlots(); owned by the cache; null when absent
    // (error 1008 when the document has no page at all).
    PDInputObj* PageByIndex(int index);
    // True when n is one of the pages of PageSlots() or a page-tree node above them.
    bool IsPageObject(int32_t n);
    // The node above node: its parent link, else its /Parent. Null when none.
    PDInputObj* ParentOf(PDInputObj& node);
    // /Count of node (an indirect count is copied in place). False when it is not a number.
    bool CountOf(PDInputObj& node, int32_t& count);
    // key in dict, else in the nearest ancestor (through /Parent) that has it. Null when none.
    PDValue* LookupInherited(PDValue* dict, const char* key);
    // The page's effective /Resources dictionary; sets the page's resources owner. Null when none.
    PDValue* PageResources(PDInputObj& page);
    // Adds name (a reference to n, or for n 0 a name in an array) under category of the page's
    // resources, marking what changes as held so that it is written again.
    void AddResource(PDInputObj& page, const char* category, const char* name, int32_t n);
    void AddResource(PDInputObj& page, int categorySlot, const char* name, int32_t n);
    // Removes /Rights from the catalog's /ViewerPreferences; true when there was one.
    bool RemoveRights();
    // Lowers the counts from node upwards by delta, removing child from node's /Kids and emptied
    // nodes from their parents. Returns the count left.
    int32_t RemoveFromPageTree(PDInputObj* node, int32_t child, int32_t delta);
    // The page walk of a transfer: every page of PageSlots() in the transfer's range. False when
    // the document has no page.
    bool CopyPages();
    // Pages the last transfer found in the input.
    int PagesFound() const noexcept { return m_pagesFound; }

protected:
    void OnObjectsInvalidated() override { ReleaseAll(true); }

private:
    bool HasCopiedFlags() const noexcept { return !m_copied.empty(); }
    void ResizeFlags();
    void CopyHeld();
    bool CopyPage(PDInputObj& page);
    void MakeInheritedExplicit(PDInputObj& page);
    void MarkChanged(int32_t n);
    using InheritedFrom = std::array<int32_t, 4>;
    InheritedFrom InheritedSources(int32_t node);
    int32_t AdoptDirectKid(std::unique_ptr<PDValue> value, int32_t parentNum) override;
    void CollectReleased(PDInputObj& obj, std::vector<int32_t>& out);
    void ReleaseWritten(PDInputObj& page);

    std::vector<std::unique_ptr<PDInputObj>> m_cache; // indexed by object number; 0 unused
    int32_t m_highest = 0;
    std::vector<std::unique_ptr<PDInputObj>> m_newObjs;
    PDInputObj* m_currentPage = nullptr;

    // Transfer state.
    PDOutputDoc* m_output = nullptr;
    uint8_t m_outputId[16] = {}; // tells a new output from one at the same address
    int m_mapIndex = 0;
    std::vector<uint8_t> m_held; // per object number; empty until first needed
    std::unordered_set<int32_t> m_edited;
    std::vector<uint8_t> m_copied; // per object number; empty until an output is bound
    PDArr<int32_t> m_transferred{100};
    std::unordered_set<int32_t> m_transferredSet;
    PDArr<int> m_outputPages{100};
    int m_firstPage = 1;
    int m_lastPage = 0;

    // Page walk of a transfer.
    std::unordered_map<int32_t, InheritedFrom> m_inherited;
    std::unordered_set<int32_t> m_pageObjects; // filled from PageSlots() on first use
    bool m_pageObjectsKnown = false;
    int m_pagesFound = 0;
};
