// The field listing as one JSON document, for scripts.
#pragma once

#include "forms/form_describe.h"

#include <string>
#include <vector>

// An array of the fields in listing order; valid UTF-8 whatever the file holds.
std::string JsonListing(const std::vector<PDFieldDescription>& fields);
