// FormSession: everything one run asks of the template and the output document. The run flow
// drives it; the form document implements it. Listing, filling, deleting and adding plug in here
// without the command line knowing how they are done.
#pragma once

#include "forms/form_describe.h"

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

class FormSession {
public:
    enum class PasswordResult {
        kOpened,
        kWrongPassword,
        kUnsupportedEncryption,
    };

    virtual ~FormSession() = default;

    // --- The template ---
    // Opens the named file for reading as the template. False when it cannot be opened or read.
    virtual bool OpenTemplate(const char* name) = 0;
    virtual bool TemplateIsEncrypted() = 0;
    // Tried only on an encrypted template; the password is "" when none was given.
    virtual PasswordResult SetTemplatePassword(const char* password) = 0;
    // Writes the field listing of the template to out.
    virtual void ListFields(FILE* out) = 0;
    // The fields of the listing, in its order, as plain data.
    virtual std::vector<PDFieldDescription> DescribeFields() = 0;
    // Starts over on the same template for another output: the bytes read when it was opened (and
    // its password) are kept, its objects and the output document are made anew, and an output
    // that was not closed is removed. False when the template cannot be read again.
    virtual bool ReopenTemplate() = 0;
    // Drops /Rights from the template catalog's /ViewerPreferences, if present.
    virtual void RemoveUsageRights() = 0;
    // True when the template has an outline whose /Count is greater than 0.
    virtual bool TemplateHasOutline() = 0;
    // Pages found in the template: through its page tree, or, when that gives none, among its
    // objects. 0 when the template has no page at all.
    virtual int TemplatePageCount() = 0;

    // --- The output document ---
    // Both reset the auto-size limits to 12 (largest) and 5 (smallest).
    // False when the file cannot be created.
    virtual bool CreateOutputFile(const char* name) = 0;
    virtual void CreateOutputInMemory() = 0;
    virtual void SetPermissions(const char* permissions) = 0;
    virtual void SetUserPassword(const char* password) = 0;
    virtual void SetOwnerPassword(const char* password) = 0;
    // AES-256 instead of RC4 for a protected output; asked for after the permissions.
    virtual void UseAes256() = 0;
    virtual void SetFontSizeLimits(float largest, float smallest) = 0;
    virtual float LargestFontSize() const = 0;
    virtual float SmallestFontSize() const = 0;
    // A TrueType or OpenType font file for characters the fields' fonts cannot show, tried before
    // the system's fonts (in the order added).
    virtual void AddFontFile(const char* path) = 0;
    // False when the template is already attached to another document; the run ignores it.
    virtual bool AttachTemplate() = 0;
    // name is fully qualified; value is taken as it stands. False when the field was not set.
    virtual bool SetFieldValue(const char* name, const char* value) = 0;
    virtual bool DeleteField(const char* name) = 0;
    // pageIndex counts from 0; font indexes the form font list. False when nothing was added.
    virtual bool AddTextField(const char* name, int pageIndex, float x, float y, float width,
                              float height, int font, float size) = 0;
    // 0 burns every field into the page content; -1 keeps fields as fields.
    virtual void SetFlatten(int mode) = 0;
    // Carries every page of the template into the output. Failures land in the document's error
    // code, which the user never sees.
    virtual void ImportPages() = 0;
    // What the user should know about the values the import applied, one line each.
    virtual std::vector<std::string> Warnings() = 0;
    virtual void CopyOutlines() = 0;
    virtual void CopyNamedDestinations() = 0;
    virtual void WriteCatalog() = 0;
    // Writes the rest of the output and puts the file in place. False when the output could not
    // be written; no partial file is left then.
    virtual bool CloseOutput() = 0;
    // Pages written into the output.
    virtual int OutputPageCount() = 0;
    // The bytes of an output created in memory, handed over to the caller (empty otherwise).
    virtual std::vector<uint8_t> TakeMemoryImage() = 0;
};
