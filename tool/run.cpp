#include "tool/run.h"

#include "tool/batch.h"
#include "tool/json_listing.h"
#include "tool/options.h"
#include "tool/password_file.h"
#include "tool/run_steps.h"
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
    return FinishOutput(session);
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
    const PDScanResult scan = ScanOptions(argc, argv, request);
    if (request.help || request.version) {
        request.help ? WriteHelp(io.out) : WriteVersion(io.out);
        return 0;
    }
    switch (scan) {
    case PDScanResult::kUsage:
        WriteUsage(io.out);
        return 0;
    case PDScanResult::kInsufficient:
        std::fputs("insufficient arguments\n", io.err);
        return 1;
    case PDScanResult::kRun:
        break;
    }
    if (request.batchFile && (request.list || request.outputName == "-")) {
        std::fputs("--batch needs an output file name pattern after the template\n", io.err);
        return 1;
    }
    if (!ReadPasswordFiles(argc, argv, request, io)) {
        return 2;
    }
    if (!OpenTemplate(request, session, io)) {
        return 2;
    }
    if (request.list && request.json) {
        std::fputs(JsonListing(session.DescribeFields()).c_str(), io.out);
        return 0;
    }
    if (request.list) {
        // The template is left as it is: taking its objects apart one by one would cost more
        // than the listing, and the process ends here.
        session.ListFields(io.out);
        return 0;
    }
    std::vector<std::string> assignments = GatherAssignments(argc, argv, request, io);
    if (request.batchFile)
        return RunBatch(request, assignments, session, io);
    if (!CreateOutput(request.outputName, session, io)) {
        return 1;
    }
    ApplyOutputSettings(request, session);
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
