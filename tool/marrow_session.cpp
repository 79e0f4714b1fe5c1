#include "tool/marrow_session.h"

#include <cstdio>

bool PDMarrowSession::OpenTemplate(const char* name) {
    m_template = std::make_unique<PDFormTemplate>();
    if (m_template->OpenRead(name))
        return true;
    m_template.reset();
    return false;
}

bool PDMarrowSession::TemplateIsEncrypted() {
    return m_template && m_template->IsEncrypted();
}

FormSession::PasswordResult PDMarrowSession::SetTemplatePassword(const char* password) {
    if (!m_template || m_template->SetPassword(password))
        return PasswordResult::kOpened;
    return m_template->PasswordStatus() == PDPasswordStatus::kUnsupported
               ? PasswordResult::kUnsupportedEncryption
               : PasswordResult::kWrongPassword;
}

void PDMarrowSession::ListFields(FILE* out) {
    if (!m_template)
        return;
    std::string listing = m_template->ListFields();
    std::fwrite(listing.data(), 1, listing.size(), out);
}

void PDMarrowSession::CloseTemplate() {
    m_template.reset();
}

void PDMarrowSession::RemoveUsageRights() {
    PDValue* catalog = m_template ? m_template->Catalog() : nullptr;
    PDValue* prefs = catalog ? m_template->Resolve(catalog->Get("/ViewerPreferences")) : nullptr;
    if (prefs != nullptr && prefs->Dict() != nullptr)
        prefs->Dict()->Remove("/Rights");
}

bool PDMarrowSession::TemplateHasOutline() {
    PDValue* catalog = m_template ? m_template->Catalog() : nullptr;
    PDValue* outlines = catalog ? m_template->ResolveKey(catalog, "/Outlines") : nullptr;
    PDValue* count = outlines ? m_template->ResolveKey(outlines, "/Count") : nullptr;
    return count != nullptr && count->GetInt() > 0;
}

void PDMarrowSession::ResetLimits() {
    m_largest = 12.0f;
    m_smallest = 5.0f;
}

bool PDMarrowSession::CreateOutputFile(const char* /*name*/) {
    ResetLimits();
    // TODO(writer): the writer takes over the file. Until the library can write a filled form,
    // no output is created at all, so that no script mistakes an empty file for a filled one.
    std::fputs("writing output files is not available yet\n", stderr);
    return false;
}

void PDMarrowSession::CreateOutputInMemory() {
    ResetLimits(); // TODO(writer): the writer's memory buffer.
    std::fputs("writing output files is not available yet\n", stderr);
}

void PDMarrowSession::SetPermissions(const char* /*permissions*/) {
    // TODO(writer): the output's security handler parses the permission letters.
}

void PDMarrowSession::SetUserPassword(const char* /*password*/) {
    // TODO(writer): the output's security handler.
}

void PDMarrowSession::SetOwnerPassword(const char* /*password*/) {
    // TODO(writer): the output's security handler.
}

void PDMarrowSession::SetFontSizeLimits(float largest, float smallest) {
    m_largest = largest;
    m_smallest = smallest;
}

bool PDMarrowSession::AttachTemplate() {
    return true; // TODO(writer): the form document takes the template and raises its use count.
}

bool PDMarrowSession::SetFieldValue(const char* /*name*/, const char* /*value*/) {
    return true; // TODO(writer): recorded in the template's pending values.
}

bool PDMarrowSession::DeleteField(const char* /*name*/) {
    return true; // TODO(writer): the form document's field deletion.
}

bool PDMarrowSession::AddTextField(const char* /*name*/, int /*pageIndex*/, float /*x*/,
                                   float /*y*/, float /*width*/, float /*height*/, int /*font*/,
                                   float /*size*/) {
    return true; // TODO(writer): the form document's AddTextField.
}

void PDMarrowSession::SetFlatten(int /*mode*/) {
    // TODO(writer): the form document's flatten setting.
}

void PDMarrowSession::ImportPages() {
    // TODO(writer): the page transfer; it alone catches PDAllocError (error 1009).
}

void PDMarrowSession::CopyOutlines() {
    // TODO(writer): the outline copy.
}

void PDMarrowSession::CopyNamedDestinations() {
    // TODO(writer): /Names and /Dests of the template.
}

void PDMarrowSession::WriteCatalog() {
    // TODO(writer): the output catalog from the template's.
}

void PDMarrowSession::CloseOutput() {
    // TODO(writer): the writer's close (info, xref, trailer).
}

std::vector<uint8_t> PDMarrowSession::TakeMemoryImage() {
    return {}; // TODO(writer): the writer's memory buffer.
}
