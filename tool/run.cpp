#include "tool/run.h"

#include "tool/assignment.h"
#include "tool/control_file.h"
#include "tool/options.h"
#include "tool/usage.h"

#include <cstdint>
#include <string>
#include <vector>

namespace {

// Tries the password (or none) on an encrypted template; false, with the reason printed, when it
// does not open.
bool UnlockTemplate(const PDRunRequest& request, FormSession& session, RunStreams& io) {
    if (!session.TemplateIsEncrypted()) {
        return true;
    }
    const char* name = request.inputName.c_str();
    switch (session.SetTemplatePassword(request.inputPassword.c_str())) {
    case FormSession::PasswordResult::kOpened:
        return true;
    case FormSession::PasswordResult::kWrongPassword:
        std::fprintf(io.err, "File '%s' cannot be opened: the password is wrong\n", name);
        return false;
    case FormSession::PasswordResult::kUnsupportedEncryption:
        break;
    }
    std::fprintf(io.err, "File '%s' cannot be opened: its encryption is not supported\n", name);
    return false;
}

// A file that is not a usable document, or that has no page to carry, cannot be a template.
bool OpenTemplate(const PDRunRequest& request, FormSession& session, RunStreams& io) {
    const char* name = request.inputName.c_str();
    if (session.OpenTemplate(name)) {
        if (!UnlockTemplate(request, session, io)) {
            return false;
        }
        if (session.TemplatePageCount() > 0) {
            return true;
        }
    }
    std::fprintf(io.err, "File '%s' cannot be opened as template\n", name);
    return false;
}

bool WritesToStdout(const PDRunRequest& request) {
    return request.outputName == "-";
}

bool CreateOutput(const PDRunRequest& request, FormSession& session, RunStreams& io) {
    if (WritesToStdout(request)) {
        session.CreateOutputInMemory();
        return true;
    }
    if (!session.CreateOutputFile(request.outputName.c_str())) {
        std::fprintf(io.err, "File '%s' cannot be created\n", request.outputName.c_str());
        return false;
    }
    return true;
}

void ApplySecurity(const PDRunRequest& request, FormSession& session) {
    // Deliberate: -perm alone encrypts nothing; only a password turns protection on.
    if (!request.userPassword && !request.ownerPassword) {
        return;
    }
    session.SetPermissions(request.permissions.c_str());
    if (request.userPassword) {
        session.SetUserPassword(request.userPassword->c_str());
    }
    if (request.ownerPassword) {
        session.SetOwnerPassword(request.ownerPassword->c_str());
    }
}

// Runs after the output is created, because creating it resets the limits.
void ApplyFontSizes(const PDRunRequest& request, FormSession& session) {
    PDFontSizeLimits limits{session.LargestFontSize(), session.SmallestFontSize()};
    if (ApplyFontSizeOption(request.fontSizeLow, request.fontSizeHigh, limits)) {
        session.SetFontSizeLimits(limits.largest, limits.smallest);
    }
}

void ApplyFontFiles(const PDRunRequest& request, FormSession& session) {
    for (const std::string& file : request.fontFiles)
        session.AddFontFile(file.c_str());
}

// Control files are read here, once and before the output exists: standard input cannot be read
// twice, and every assignment must be known before anything is created.
std::vector<std::string> GatherAssignments(int argc, char** argv, const PDRunRequest& request,
                                           RunStreams& io) {
    std::vector<std::string> assignments;
    for (int i = request.firstAssignment; i < argc && argv[i] != nullptr; ++i) {
        if (argv[i][0] == '@')
            ReadControlFile(argv[i], assignments, io);
        else
            assignments.emplace_back(argv[i]);
    }
    return assignments;
}

void CarryOutAssignments(const std::vector<std::string>& assignments, const PDRunRequest& request,
                         FormSession& session, RunStreams& io) {
    // Standard output carries only the PDF when the PDF goes there.
    RunStreams reports = io;
    if (WritesToStdout(request))
        reports.out = io.err;
    for (const std::string& text : assignments)
        CarryOutAssignment(text, session, request.quiet, reports);
}

// False when the output could not be written (nothing is left behind then).
bool TransferDocument(FormSession& session, bool quiet, RunStreams& io) {
    session.RemoveUsageRights();
    session.ImportPages();
    // Warnings never change the exit status.
    for (const std::string& warning : session.Warnings()) {
        if (!quiet)
            std::fprintf(io.err, "warning: %s\n", warning.c_str());
    }
    const int found = session.TemplatePageCount();
    const int written = session.OutputPageCount();
    if (written < found) {
        std::fprintf(io.err, "%d of %d pages could not be copied\n", found - written, found);
    }
    if (session.TemplateHasOutline()) {
        session.CopyOutlines();
    }
    session.CopyNamedDestinations();
    session.WriteCatalog();
    return session.CloseOutput();
}

// False when standard output did not take every byte (a full disk, a closed pipe).
bool WriteMemoryImage(FormSession& session, RunStreams& io) {
    // Binary mode needs no switch on this platform: the bytes go out unchanged in one write.
    std::vector<uint8_t> image = session.TakeMemoryImage();
    bool ok = image.empty() || std::fwrite(image.data(), 1, image.size(), io.out) == image.size();
    ok = std::fflush(io.out) == 0 && ok;
    return ok && std::ferror(io.out) == 0;
}

} // namespace

int RunQuillet(int argc, char** argv, FormSession& session, RunStreams& io) {
    PDRunRequest request;
    switch (ScanOptions(argc, argv, request)) {
    case PDScanResult::kUsage:
        WriteUsage(io.out);
        return 0;
    case PDScanResult::kInsufficient:
        std::fputs("insufficient arguments\n", io.err);
        return 1;
    case PDScanResult::kRun:
        break;
    }
    if (!OpenTemplate(request, session, io)) {
        return 2;
    }
    if (request.list) {
        // The template is left as it is: taking its objects apart one by one would cost more
        // than the listing, and the process ends here.
        session.ListFields(io.out);
        return 0;
    }
    std::vector<std::string> assignments = GatherAssignments(argc, argv, request, io);
    if (!CreateOutput(request, session, io)) {
        return 1;
    }
    ApplySecurity(request, session);
    ApplyFontSizes(request, session);
    ApplyFontFiles(request, session);
    session.AttachTemplate();
    CarryOutAssignments(assignments, request, session, io);
    session.SetFlatten(request.flatten ? 0 : -1);
    if (!TransferDocument(session, request.quiet, io)) {
        std::fprintf(io.err, "File '%s' cannot be written\n", request.outputName.c_str());
        return 1;
    }
    if (WritesToStdout(request) && !WriteMemoryImage(session, io)) {
        std::fputs("File '-' cannot be written\n", io.err);
        return 1;
    }
    return 0;
}
