#include "tool/marrow_session.h"

#include "streams/pddiag.h"

#include <cstdio>
#include <string>

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
    m_templatePassword = password != nullptr ? password : "";
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

std::vector<PDFieldDescription> PDMarrowSession::DescribeFields() {
    return m_template ? m_template->DescribeFields() : std::vector<PDFieldDescription>{};
}

bool PDMarrowSession::ReopenTemplate() {
    if (!m_template)
        return false;
    if (m_templateImage.empty())
        m_templateImage = m_template->Image();
    m_document = std::make_unique<PDFormDocument>(); // detaches the old template
    m_target.Discard();
    m_toFile = false;
    m_template = std::make_unique<PDFormTemplate>();
    const auto length = static_cast<int64_t>(m_templateImage.size());
    if (!m_template->OpenMemory(m_templateImage.data(), length))
        return false;
    return !m_template->IsEncrypted() || m_template->SetPassword(m_templatePassword.c_str());
}

void PDMarrowSession::RemoveUsageRights() {
    m_document->RemoveUsageRights();
}

int PDMarrowSession::TemplatePageCount() {
    return m_template ? m_template->PageCount() : 0;
}

int PDMarrowSession::OutputPageCount() {
    return m_document->OutputPageCount();
}

bool PDMarrowSession::TemplateHasOutline() {
    return m_document->TemplateHasOutline();
}

PDMarrowSession::PDMarrowSession() : m_document(std::make_unique<PDFormDocument>()) {}

PDMarrowSession::~PDMarrowSession() {
    m_target.Discard();
    m_document.reset(); // detaches the template first
    m_template.reset();
}

bool PDMarrowSession::CreateOutputFile(const char* name) {
    m_toFile = false;
    if (!m_target.Prepare(name))
        return false;
    m_toFile = true;
    if (m_target.GetMode() == PDOutputTarget::Mode::kInPlace) {
        m_document->CreateInMemory();
        return true;
    }
    if (m_document->CreateFile(m_target.WriteName().c_str()))
        return true;
    m_target.Discard();
    m_toFile = false;
    return false;
}

void PDMarrowSession::CreateOutputInMemory() {
    m_document->CreateInMemory();
}

void PDMarrowSession::SetPermissions(const char* permissions) {
    m_document->SetPermissions(permissions);
}

void PDMarrowSession::SetUserPassword(const char* password) {
    m_document->SetUserPassword(password);
}

void PDMarrowSession::SetOwnerPassword(const char* password) {
    m_document->SetOwnerPassword(password);
}

void PDMarrowSession::UseAes256() {
    m_document->UseAes256();
}

void PDMarrowSession::SetFontSizeLimits(float largest, float smallest) {
    m_document->SetFontSizeLimits(largest, smallest);
}

bool PDMarrowSession::AttachTemplate() {
    return m_template && m_document->AttachTemplate(*m_template);
}

bool PDMarrowSession::SetFieldValue(const char* name, const char* value) {
    return m_document->SetValue(PDStr(name), PDStr(value));
}

bool PDMarrowSession::DeleteField(const char* name) {
    return m_document->DeleteField(PDStr(name));
}

bool PDMarrowSession::AddTextField(const char* name, int pageIndex, float x, float y, float width,
                                   float height, int font, float size) {
    return m_document->AddTextField(PDStr(name), pageIndex, x, y, width, height, font, size);
}

void PDMarrowSession::SetFlatten(int mode) {
    m_document->SetFlatten(mode);
}

void PDMarrowSession::ImportPages() {
    // The one place that survives running out of memory: the import ends, the output is
    // written with what was copied, and the document remembers why.
    try {
        m_document->ImportPages();
    } catch (const PDAllocError&) {
        m_document->SetErrorCode(pderr::kNullArgument);
    }
}

void PDMarrowSession::CopyOutlines() {
    m_document->CopyOutlines();
}

void PDMarrowSession::CopyNamedDestinations() {
    m_document->CopyNamedDestinations();
}

void PDMarrowSession::WriteCatalog() {
    m_document->WriteCatalog();
}

bool PDMarrowSession::CloseOutput() {
    bool ok = m_document->Close();
    if (!m_toFile)
        return ok;
    std::vector<uint8_t> image;
    if (ok && m_target.GetMode() == PDOutputTarget::Mode::kInPlace)
        image = TakeMemoryImage();
    ok = ok && m_target.Commit(image);
    m_target.Discard();
    return ok;
}

std::vector<uint8_t> PDMarrowSession::TakeMemoryImage() {
    int64_t length = 0;
    std::unique_ptr<uint8_t[]> image = m_document->TakeImage(&length);
    if (!image || length <= 0)
        return {};
    return std::vector<uint8_t>(image.get(), image.get() + length);
}
