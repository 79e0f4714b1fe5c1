// The output's /AcroForm dictionary, made of the stored fields and fonts.
#pragma once

class PDOutputDoc;

// Writes /AcroForm and enters it in the output catalog when the output has form fields (true
// without writing anything otherwise). False when the output failed.
bool PDWriteAcroForm(PDOutputDoc& output);
