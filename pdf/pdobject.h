// PDIndirectObj: one indirect object of a file, owning its value; ObjHolder: a scoped look-up.
#pragma once

#include "pdf/pdvalue.h"

#include <cstdint>
#include <memory>

class PDReader;

// Object kinds. Reading decides 0, 1 or 4 from /Type; callers set 2 and 3.
enum PDObjKind : int {
    kPDObjPages = 0,    // page-tree node
    kPDObjPage = 1,     // page
    kPDObjKeepKind = 2, // the objects reached from this one take its kind
    kPDObjOutput = 3,   // a copy made for the output side
    kPDObjOther = 4,
};

class PDIndirectObj {
public:
    PDIndirectObj() = default;
    // Takes ownership of value; the kind follows its /Type.
    PDIndirectObj(int32_t number, std::unique_ptr<PDValue> value);
    virtual ~PDIndirectObj();
    PDIndirectObj(const PDIndirectObj&) = delete;
    PDIndirectObj& operator=(const PDIndirectObj&) = delete;

    // Owned by the holder; null when nothing is held.
    PDValue* Value() const noexcept { return m_value.get(); }
    // Replaces the value (the old one is destroyed). The kind is left alone.
    void SetValue(std::unique_ptr<PDValue> value) noexcept { m_value = std::move(value); }
    // Hands the value to the caller; the holder is left without one.
    std::unique_ptr<PDValue> TakeValue() noexcept { return std::move(m_value); }

    int32_t Number() const noexcept { return m_number; }
    void SetNumber(int32_t number) noexcept { m_number = number; }
    int32_t Generation() const noexcept { return m_generation; }
    void SetGeneration(int32_t generation) noexcept { m_generation = generation & 0xFFFF; }
    int Kind() const noexcept { return m_kind; }
    void SetKind(int kind) noexcept { m_kind = kind; }
    // The file the object came from; not owned, null for objects made in memory.
    PDReader* File() const noexcept { return m_file; }
    void SetFile(PDReader* file) noexcept { m_file = file; }
    int64_t Offset() const noexcept { return m_offset; }
    void SetOffset(int64_t offset) noexcept { m_offset = offset; }
    int64_t EndOffset() const noexcept { return m_endOffset; }
    void SetEndOffset(int64_t offset) noexcept { m_endOffset = offset; }
    uint8_t Flags() const noexcept { return m_flags; }
    void SetFlags(uint8_t flags) noexcept { m_flags = flags; }

    // kPDObjPages for /Type /Pages, kPDObjPage for /Type /Page, kPDObjOther otherwise (null too).
    static int KindOf(const PDValue* value) noexcept;

private:
    std::unique_ptr<PDValue> m_value;
    PDReader* m_file = nullptr;
    int64_t m_offset = 0;
    int64_t m_endOffset = 0;
    int32_t m_number = 0;
    int32_t m_generation = 0;
    int m_kind = kPDObjOther;
    uint8_t m_flags = 0;
};

// Scoped access to one object of a file. On an input document (document kind 2) the cached object
// is used when there is one; otherwise a private copy is read, which the holder owns and deletes
// when it is reset or ends. A cached object is never deleted by a holder.
class ObjHolder {
public:
    ObjHolder() = default;
    ObjHolder(PDReader& file, int32_t number) { Reset(file, number); }
    ~ObjHolder() = default;
    ObjHolder(const ObjHolder&) = delete;
    ObjHolder& operator=(const ObjHolder&) = delete;

    // False (and nothing held) when the object cannot be read.
    bool Reset(PDReader& file, int32_t number);
    void Clear() noexcept;

    // Null when nothing is held; not owned by the caller.
    PDIndirectObj* Get() const noexcept { return m_obj; }
    PDValue* Value() const noexcept { return m_obj ? m_obj->Value() : nullptr; }
    bool IsOwned() const noexcept { return m_owned != nullptr; }
    explicit operator bool() const noexcept { return m_obj != nullptr; }
    PDIndirectObj* operator->() const noexcept { return m_obj; }

private:
    PDIndirectObj* m_obj = nullptr;
    std::unique_ptr<PDIndirectObj> m_owned;
};
