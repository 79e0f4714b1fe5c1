// PDFormDocument: the output document of a form run. It takes a template, records the values to
// fill, carries the template's pages, form, outline and destinations over, and brings the
// document information up to date when it is closed.
#pragma once

#include "forms/form_template.h"
#include "streams/pdstr.h"
#include "structure/pdoutput.h"

#include <map>
#include <string>
#include <vector>

class PDFormDocument : public PDOutputDoc {
public:
    // The library's version text, also shown by the tool's usage line.
    static constexpr const char* kVersion = "3.10p";
    // The producer text this library writes; the maker's address follows in parentheses.
    static constexpr const char* kProducerName = "Marrow ";
    static constexpr const char* kMakerAddress = "https://quillet.example.org";

    PDFormDocument();
    ~PDFormDocument() override;

    // Both reset the auto-size limits to 12 and 5. CreateFile is false (ErrorCode() set) when the
    // file cannot be created.
    bool CreateFile(const char* name);
    void CreateInMemory();

    float LargestFontSize() const noexcept { return m_largest; }
    float SmallestFontSize() const noexcept { return m_smallest; }
    void SetFontSizeLimits(float largest, float smallest) noexcept;
    // A font file for characters the fields' fonts cannot show, tried before the system's.
    void AddFontFile(const char* path) { m_fontFiles.emplace_back(path); }
    // 0: every field is burnt into the page content; -1: fields stay fields.
    void SetFlatten(int mode) noexcept { m_flatten = mode; }
    int Flatten() const noexcept { return m_flatten; }

    // Protection of the output: a password turns encryption on; permissions are the letters of
    // the command line.
    void SetPermissions(const char* letters);
    void SetUserPassword(const char* password);
    void SetOwnerPassword(const char* password);
    // AES-256 (revision 6) instead of RC4; called after SetPermissions, before the passwords.
    void UseAes256();

    // False when the template is attached to another document already. A template this document
    // has is detached first.
    bool AttachTemplate(PDFormTemplate& form);
    void DetachTemplate();
    PDFormTemplate* Template() const noexcept { return m_template; }

    // Records the value for the fully-qualified name; applied when the pages are imported.
    bool SetValue(const PDStr& name, const PDStr& value, int option1 = -1, int option2 = -1,
                  int option3 = 0);

    // Deletes the field of the template (see PDFormTemplate::DeleteField); a name that matches no
    // field is warned about.
    bool DeleteField(const PDStr& name);

    // Adds a text field to the template (see PDFormTemplate::AddTextField).
    bool AddTextField(const PDStr& name, int pageIndex, float x, float y, float width, float height,
                      int font, float size);

    // Carries every page of the template, with its form, into the output. Running out of memory
    // here ends the import with error 1009 instead of ending the process.
    bool ImportPages();
    // True when the attached template has outline items to carry (a closed outline, with a
    // negative or missing /Count, counts too).
    bool TemplateHasOutline() const;
    // Drops the usage rights of the template's viewer preferences: they are signed for the
    // template's bytes and would not hold for the output.
    void RemoveUsageRights();
    void CopyOutlines();
    void CopyNamedDestinations();
    // The output catalog's entries from the template's.
    void WriteCatalog();
    // The end of writing; false when the output failed.
    bool Close();

    // Information entries set by a library user (key such as "/Title" -> value text).
    void SetInfo(const char* key, const char* value);

    // The new /Producer for an existing one (empty when absent).
    static PDStr ProducerFor(const PDStr& existing);
    // "(D:YYYYMMDDHHMMSS)" for the local time t.
    static std::string ModDateFor(long long t);

    // Asked for each template page before it is written.
    bool AcceptTemplatePage(PDInputObj& page);

    // What the user should know about the values of the last import (a name that matched no
    // field, a character a font cannot show, a value that is no state of a check box ...), one
    // line each without the line end.
    const std::vector<std::string>& Warnings() const noexcept { return m_warnings; }

protected:
    void OnFinalWrite() override;

private:
    void ResetLimits() noexcept;
    bool TransferAll();
    void ImportForm();
    void ImportFormResources();
    bool HasFontResource(const char* name);
    void DropDeletedWidgets(PDInputObj& page);
    void PruneStructureTree();
    bool IsGoneWidget(const PDValue* annot, int32_t number);
    bool IsGoneReference(PDValue* kid);
    void CopyCatalogEntry(const char* key);
    std::unique_ptr<PDValue> CopiedValue(const PDValue& value);

    PDFormTemplate* m_template = nullptr;
    float m_largest = 12.0f;
    float m_smallest = 5.0f;
    int m_flatten = -1;
    std::map<std::string, std::string> m_info;
    std::vector<std::string> m_warnings;
    std::vector<std::string> m_fontFiles;
};
