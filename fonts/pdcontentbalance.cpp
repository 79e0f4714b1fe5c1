#include "fonts/pdcontentbalance.h"

#include "fonts/pdcontent.h"
#include "fonts/pdcontentops.h"

PDContentBalance PDCheckContentBalance(PDReader& file, const PDValue* resources,
                                       const uint8_t* data, int64_t length) {
    PDContentBalance balance;
    PDContentReader reader(file, resources);
    reader.SetEnterForms(false);
    reader.SetOperatorSink([&balance](int code, const TokenFIFO&, int depth) {
        if (depth != 0)
            return;
        if (code == kOpq)
            ++balance.unclosedSaves;
        else if (code == kOpQ && balance.unclosedSaves > 0)
            --balance.unclosedSaves;
        else if (code == kOpcm && balance.unclosedSaves == 0)
            balance.cmOutsideSave = true;
    });
    reader.Run(data, length);
    return balance;
}
