#include "demosaic8.h"

#include "cli.h"

namespace tavcli {

Context8::Context8() {
    std::string printed;
    int32_t rc;
    {
        LibraryDiagnostics quiet;
        rc = tavCreate(&ctx_);
        printed = quiet.finish();
    }
    if (rc != TAV_OK) throw Failure("cannot create a context: " + describeFailure(rc, printed));
}

Context8::~Context8() {
    if (ctx_) tavRelease(&ctx_);
}

int32_t Context8::run(TavImage& src, uint32_t method, uint64_t output, uint8_t* dst,
                      std::string& printed) {
    LibraryDiagnostics quiet;
    TavImage out{0, 0, 0, dst, 0};
    int32_t rc = tavDemosaicSetConfig(ctx_, &output);
    if (rc == TAV_OK) rc = tavDemosaicing(ctx_, &src, method, &out);
    printed = quiet.finish();
    return rc;
}

uint32_t parseMethod(const std::string& text) {
    if (text == "nearest" || text == "0") return TAV_METHOD_NEAREST;
    if (text == "bilinear" || text == "1") return TAV_METHOD_BILINEAR;
    if (text == "edge" || text == "2") return TAV_METHOD_EDGE;
    if (text == "hq" || text == "3") return TAV_METHOD_HQ;
    throw usageError("unknown method '" + text + "' (nearest, bilinear, edge or hq)");
}

const char* methodName(uint32_t method) {
    switch (method) {
        case TAV_METHOD_NEAREST:
            return "nearest";
        case TAV_METHOD_BILINEAR:
            return "bilinear";
        case TAV_METHOD_EDGE:
            return "edge";
        case TAV_METHOD_HQ:
            return "hq";
    }
    return "?";
}

}  // namespace tavcli
