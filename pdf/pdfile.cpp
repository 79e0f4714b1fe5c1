#include "pdf/pdfile.h"

PDFile::PDFile() = default;

PDFile::~PDFile() = default;
