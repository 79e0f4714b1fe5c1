#include "tool/run_steps.h"

#include "tool/assignment.h"
#include "tool/control_file.h"

namespace {

void ApplySecurity(const PDRunRequest& request, FormSession& session) {
    // Deliberate: -perm alone encrypts nothing; only a password turns protection on.
    if (!request.userPassword && !request.ownerPassword) {
        return;
    }
    session.SetPermissions(request.permissions.c_str());
    if (request.aes)
        session.UseAes256();
    if (request.userPassword) {
        session.SetUserPassword(request.userPassword->c_str());
    }
    if (request.ownerPassword) {
        session.SetOwnerPassword(request.ownerPassword->c_str());
    }
}

void ApplyFontSizes(const PDRunRequest& request, FormSession& session) {
    PDFontSizeLimits limits{session.LargestFontSize(), session.SmallestFontSize()};
    if (ApplyFontSizeOption(request.fontSizeLow, request.fontSizeHigh, limits)) {
        session.SetFontSizeLimits(limits.largest, limits.smallest);
    }
}

} // namespace

bool CreateOutput(const std::string& outputName, FormSession& session, RunStreams& io) {
    if (outputName == "-") {
        session.CreateOutputInMemory();
        return true;
    }
    if (!session.CreateOutputFile(outputName.c_str())) {
        std::fprintf(io.err, "File '%s' cannot be created\n", outputName.c_str());
        return false;
    }
    return true;
}

void ApplyOutputSettings(const PDRunRequest& request, FormSession& session) {
    ApplySecurity(request, session);
    ApplyFontSizes(request, session);
    // The user's fonts come before the system's, for every output.
    for (const std::string& file : request.fontFiles)
        session.AddFontFile(file.c_str());
}

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
    if (request.outputName == "-")
        reports.out = io.err;
    for (const std::string& text : assignments)
        CarryOutAssignment(text, session, request.quiet, reports);
}

bool FinishOutput(FormSession& session) {
    if (session.TemplateHasOutline()) {
        session.CopyOutlines();
    }
    session.CopyNamedDestinations();
    session.WriteCatalog();
    return session.CloseOutput();
}
