// PDOutputTarget: where the output named on the command line is written, and how the finished
// file is put in place, the way users of file-replacing tools expect.
//
// A regular file (new or existing) is written under a temporary name in its own folder and renamed
// over the old one only when complete, keeping the old file's permission bits; an interrupted run
// (SIGINT, SIGTERM, SIGHUP) removes the temporary file and leaves the old one untouched. A symbolic
// link is followed, so the file it points to is replaced and the link stays. A FIFO or a device is
// written directly. An existing file in a folder where no temporary file can be made is rewritten
// in place, from a document built in memory first.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

class PDOutputTarget {
public:
    enum class Mode {
        kTemporary, // write WriteName(), then rename it over the target
        kDirect,    // write WriteName(), which is the target itself
        kInPlace,   // build the document in memory; Commit writes it over the target
    };

    PDOutputTarget() = default;
    ~PDOutputTarget();
    PDOutputTarget(const PDOutputTarget&) = delete;
    PDOutputTarget& operator=(const PDOutputTarget&) = delete;

    // Decides how the named output is written and makes the temporary file. False when the output
    // cannot be created: a folder, a file the user may not write, a folder that does not exist or
    // that takes no new file.
    bool Prepare(const std::string& name);
    Mode GetMode() const noexcept { return m_mode; }
    // The file the writer opens (not used in place).
    const std::string& WriteName() const noexcept { return m_writeName; }
    // Puts the written file in place; in place, writes image over the target. False when that
    // fails; the temporary file is gone either way.
    bool Commit(const std::vector<uint8_t>& image);
    // Removes the temporary file, if any.
    void Discard();

private:
    bool MakeTemporary(const std::string& target);

    Mode m_mode = Mode::kDirect;
    std::string m_target;    // the file finally replaced (symbolic links resolved)
    std::string m_writeName; // what the writer opens
    bool m_hasTemporary = false;
};
