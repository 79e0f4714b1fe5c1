#include "fonts/pdcontentops.h"

#include <cstring>

namespace {

const char* const kOperators[] = {
    "\"",  "'",  "B",  "B*", "BDC", "BI", "BMC", "BT", "BX", "CS",  "DP", "Do", "EI", "ET",  "EX",
    "EMC", "F",  "G",  "GS", "ID",  "J",  "K",   "M",  "MP", "Q",   "RG", "S",  "SC", "SCN", "T*",
    "TD",  "TJ", "TL", "Tc", "Td",  "Tf", "Tj",  "Tm", "Tr", "Ts",  "Tw", "Tz", "W",  "W*",  "b",
    "b*",  "c",  "cm", "cs", "d",   "d0", "d1",  "f",  "f*", "g",   "gs", "h",  "i",  "j",   "k",
    "l",   "m",  "n",  "q",  "re",  "rg", "ri",  "s",  "sc", "scn", "sh", "v",  "w",  "y",
};
static_assert(sizeof kOperators / sizeof kOperators[0] == kPDContentOpCount);

} // namespace

int PDContentOperator(const char* keyword) {
    int low = 0;
    int high = kPDContentOpCount - 1;
    while (low <= high) {
        int mid = (low + high) / 2;
        int order = std::strcmp(keyword, kOperators[mid]);
        if (order == 0)
            return mid;
        if (order < 0)
            high = mid - 1;
        else
            low = mid + 1;
    }
    return -1;
}

const char* PDContentOperatorName(int code) {
    return code >= 0 && code < kPDContentOpCount ? kOperators[code] : "";
}
