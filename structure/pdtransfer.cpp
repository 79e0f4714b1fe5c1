// The transfer of an input document into output documents: binding an output, the copied and
// held flags, held objects written at the end of each transfer, and releasing cached objects.
#include "pdf/pdkeys.h"
#include "streams/pddiag.h"
#include "structure/pdinput.h"
#include "structure/pdoutput.h"
#include "structure/pdrefcopier.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace {

// Calls visit(keySlot, number) for every reference under value; array elements take the key of
// the entry that holds the array.
template <class Visit> void ForEachReference(const PDValue& value, Visit visit) {
    std::vector<std::pair<const PDValue*, int>> work{{&value, -1}};
    while (!work.empty()) {
        auto [v, key] = work.back();
        work.pop_back();
        if (v->Kind() == kPDReference) {
            visit(key, v->Number());
        } else if (v->Kind() == kPDArray) {
            for (const PDValue* e = v->First(); e != nullptr; e = e->Next())
                work.emplace_back(e, key);
        } else if (v->Kind() == kPDDictionary && v->Dict() != nullptr) {
            PDValue* entry = nullptr;
            int slot = 0;
            for (int i = 0; v->Dict()->EntrySlot(i, &entry, &slot); ++i) {
                if (entry != nullptr)
                    work.emplace_back(entry, slot < pdkey::kWellKnownCount ? slot : -1);
            }
        }
    }
}

} // namespace

bool PDFInput::AcceptPage(PDInputObj& page) {
    (void)page;
    return true;
}

// ------------------------------------------------------------------ binding and flags

void PDFInput::ResizeFlags() {
    auto size = static_cast<size_t>(std::max(ObjectCount(), 1));
    if (!m_held.empty() && m_held.size() < size)
        m_held.resize(size, 0);
    if (!m_copied.empty() && m_copied.size() < size)
        m_copied.resize(size, 0);
}

void PDFInput::BindOutput(PDOutputDoc& output) {
    static constexpr uint8_t kNoId[16] = {};
    const uint8_t* id = output.OutputId() != nullptr ? output.OutputId() : kNoId;
    bool same = m_output == &output && std::memcmp(id, m_outputId, sizeof m_outputId) == 0;
    if (!same) {
        // Another output: what was copied into the last one must be copied again, under a map
        // of its own. Every input takes a map of its own too, so two inputs written into one
        // output never share numbers.
        m_copied.clear();
        m_currentPage = nullptr;
        m_inherited.clear();
        m_transferred.Clear();
        m_transferredSet.clear();
        m_outputPages.Clear();
        m_output = &output;
        std::memcpy(m_outputId, id, sizeof m_outputId);
        m_mapIndex = output.AllocMap();
    }
    auto size = static_cast<size_t>(std::max(ObjectCount(), 1));
    if (m_held.empty())
        m_held.assign(size, 0);
    if (m_copied.empty())
        m_copied.assign(size, 0);
}

void PDFInput::MarkHeld(int32_t n) {
    if (m_held.empty())
        m_held.assign(static_cast<size_t>(std::max(ObjectCount(), 1)), 0);
    if (n > 0 && n < ObjectCount()) {
        ResizeFlags();
        m_held[static_cast<size_t>(n)] = 1;
    }
}

bool PDFInput::IsHeld(int32_t n) const noexcept {
    return n > 0 && static_cast<size_t>(n) < m_held.size() && m_held[static_cast<size_t>(n)] != 0;
}

bool PDFInput::NeedsCopy(int32_t n) const {
    if (n < 1)
        return false;
    int32_t total = ObjectCount();
    // Deliberate: numbers just beyond the last object, as many as there are new objects, count
    // as needing a copy.
    if (n >= total)
        return n < total + NewObjectCount();
    return !HasCopiedFlags() || static_cast<size_t>(n) >= m_copied.size() ||
           m_copied[static_cast<size_t>(n)] == 0;
}

void PDFInput::MarkCopied(int32_t n, bool copied) {
    if (n <= 0 || n >= ObjectCount() || !HasCopiedFlags())
        return;
    ResizeFlags();
    m_copied[static_cast<size_t>(n)] = copied ? 1 : 0;
}

void PDFInput::ForgetCopy(int32_t n) {
    if (m_output != nullptr && m_transferredSet.count(n) != 0)
        m_output->ClearMapEntry(n, m_mapIndex);
}

int PDFInput::OutputPageIndex(int p) const noexcept {
    return p >= 0 && p < m_outputPages.Count() ? m_outputPages.begin()[p] : -1;
}

// ------------------------------------------------------------------ transfer

bool PDFInput::Transfer(PDOutputDoc& output, int firstPage, int lastPage) {
    BindOutput(output);
    m_firstPage = firstPage;
    m_lastPage = lastPage;
    m_inherited.clear();
    bool ok = CopyPages();
    if (!ok)
        SetErrorCode(pderr::kNoPageTree);
    CopyHeld();
    return ok;
}

int32_t PDFInput::AdoptDirectKid(std::unique_ptr<PDValue> value, int32_t parentNum) {
    PDInputObj* obj = NewObj(std::move(value));
    obj->SetParentNumber(parentNum);
    return obj->Number();
}

bool PDFInput::CopyObject(int32_t n) {
    if (m_output == nullptr)
        return false;
    PDInputObj* obj = GetObj(n);
    if (obj == nullptr || obj->Value() == nullptr)
        return false;
    if (!NeedsCopy(n) || IsHeld(n))
        return true;
    MarkCopied(n, true);
    if (obj->TransferToOutput(*m_output)) {
        RefCopier copier(*this, *m_output, true);
        copier.Walk(*obj->Value(), obj);
    }
    return true;
}

std::unique_ptr<PDValue> PDFInput::CopyIntoOutput(const PDValue& value, bool caching) {
    if (m_output == nullptr)
        return nullptr;
    std::unique_ptr<PDValue> copy = value.Copy();
    if (!copy)
        return nullptr;
    RefCopier copier(*this, *m_output, caching);
    copier.Walk(*copy, nullptr);
    m_output->RenumberToOutput(*copy, m_mapIndex);
    return copy;
}

// Held objects go out last, so that every change made during the transfer is in them; each
// transfer writes them again under new numbers.
void PDFInput::CopyHeld() {
    if (m_output == nullptr)
        return;
    PDArr<int32_t> written(100);
    int32_t limit = std::min(m_highest, InputObjectCount() - 1);
    for (int32_t n = 1; n <= limit && static_cast<size_t>(n) < m_cache.size(); ++n) {
        auto slot = static_cast<size_t>(n);
        if (!IsHeld(n) || m_cache[slot] == nullptr)
            continue;
        PDInputObj* obj = m_cache[slot].get();
        if (HasCopiedFlags() && slot < m_copied.size() && m_copied[slot] != 0) {
            PDReport("should not have copied obj on hold\n");
        } else if (obj->TransferToOutput(*m_output)) {
            m_transferred.Append(n);
            m_transferredSet.insert(n);
            written.Append(n);
            RefCopier copier(*this, *m_output, false);
            copier.Walk(*obj->Value(), obj);
        }
        if (obj != m_currentPage)
            m_cache[slot].reset();
        m_held[slot] = 0;
    }
    while (written.Count() > 0)
        m_output->ClearMapEntry(written.Take(), m_mapIndex);
}

// ------------------------------------------------------------------ releasing

// The cached objects that obj reaches, except through /Parent and /Dest; pages and page-tree
// nodes are neither followed nor released, since the page walk comes back to them.
void PDFInput::CollectReleased(PDInputObj& obj, std::vector<int32_t>& out) {
    std::unordered_set<int32_t> seen{obj.Number()};
    std::vector<PDInputObj*> work{&obj};
    const int32_t total = ObjectCount();
    while (!work.empty()) {
        PDInputObj* current = work.back();
        work.pop_back();
        if (current->Value() == nullptr)
            continue;
        ForEachReference(*current->Value(), [&](int key, int32_t n) {
            if (key == pdkey::Parent || key == pdkey::Dest || n > total || !seen.insert(n).second)
                return;
            PDInputObj* target = PeekObj(n);
            if (target == nullptr || target->Kind() == kPDObjPages || target->Kind() == kPDObjPage)
                return;
            out.push_back(n);
            work.push_back(target);
        });
    }
}

// After a page is written, what it brought along leaves the cache, so that a copy holds about one
// page's objects at a time; what is needed again is read again (the fields and widgets the output
// writes when it ends among them). Objects whose changes live only in the cache stay: held and
// edited objects, and pages and page-tree nodes (CollectReleased passes them by).
void PDFInput::ReleaseWritten(PDInputObj& page) {
    std::vector<int32_t> reached;
    CollectReleased(page, reached);
    reached.push_back(page.Number());
    for (int32_t n : reached)
        ReleaseRead(n);
}

void PDFInput::KeepEdited(int32_t n) {
    if (n > 0)
        m_edited.insert(n);
}

bool PDFInput::IsEdited(int32_t n) const noexcept {
    return m_edited.count(n) != 0;
}

void PDFInput::ReleaseRead(int32_t n) {
    if (IsHeld(n) || IsEdited(n))
        return;
    PDInputObj* target = PeekObj(n);
    if (target != nullptr && target->Kind() != kPDObjPages && target->Kind() != kPDObjPage)
        ReleaseObj(target, false);
}

void PDFInput::ReleaseCopied(int32_t n) {
    if (PDInputObj* obj = PeekObj(n); obj != nullptr)
        ReleaseWritten(*obj);
}

bool PDFInput::ReleaseObj(PDInputObj*& slot, bool releaseReferenced) {
    if (slot == nullptr)
        return false;
    PDInputObj* obj = slot;
    slot = nullptr;
    std::vector<int32_t> referenced;
    if (releaseReferenced)
        CollectReleased(*obj, referenced);
    for (int32_t n : referenced) {
        PDInputObj* target = PeekObj(n);
        ReleaseObj(target, false);
    }
    int32_t n = obj->Number();
    int32_t firstNew = InputObjectCount();
    bool isNew = n >= firstNew && n - firstNew < NewObjectCount();
    if (n < 1 || static_cast<size_t>(n) >= m_cache.size() || isNew)
        return false;
    auto index = static_cast<size_t>(n);
    if (m_cache[index].get() != obj) {
        // Deliberate: an object the cache does not own is left alone; deleting it would free
        // what belongs to someone else.
        PDReport("PDFInput::ReleaseObj - wrong object\n");
        return false;
    }
    if (obj == m_currentPage)
        return false;
    m_cache[index].reset();
    return true;
}

void PDFInput::Close() {
    ReleaseAll(false);
    m_cache.clear();
    m_cache.shrink_to_fit();
    m_held.clear();
    m_edited.clear();
    m_copied.clear();
    m_transferred.Clear();
    m_transferredSet.clear();
    m_outputPages.Clear();
}
