/* A plain C99 caller: the header compiles as C and the exports link. */
#include <stdio.h>
#include <string.h>

#include <tav.h>
#include <tav_api.h>

int main(void) {
    TavContext* ctx = NULL;
    uint8_t mono[4 * 4];
    uint8_t bgr[4 * 4 * 3];
    uint64_t format = TAV_PF_BGR8;
    TavImage src;
    TavImage dst;
    TavFrame in, out;
    int32_t rc;
    int i;

    for (i = 0; i < 16; ++i) mono[i] = (uint8_t)(i * 10);
    if (tavCreate(&ctx) != TAV_OK) return 1;
    if (tavDemosaicSetConfig(ctx, &format) != TAV_OK) return 1;
    src.height = 4;
    src.width = 4;
    src.pixelFormat = TAV_PF_MONO8;
    src.data = mono;
    src.pitch = 4;
    memset(&dst, 0, sizeof dst);
    dst.data = bgr;
    rc = tavDemosaicing(ctx, &src, TAV_METHOD_BILINEAR, &dst);
    tavRelease(&ctx);
    if (rc != TAV_OK || dst.pixelFormat != TAV_PF_BGR8 || bgr[3 * 15 + 2] != 150) {
        fprintf(stderr, "unexpected result %d\n", (int)rc);
        return 1;
    }
    /* The frame API: the same pixels, and a reason for a refusal. */
    memset(bgr, 0, sizeof bgr);
    tavFrameInit(&in, TAV_PF_MONO8, 4, 4, mono);
    tavFrameInit(&out, TAV_PF_BGR8, 4, 4, bgr);
    rc = tavDemosaic(&in, &out, NULL);
    if (rc != TAV_OK || bgr[3 * 15 + 2] != 150 || tavFrameSize(&out) != sizeof bgr) return 1;
    out.width = 3;
    if (strcmp(tavResultText(tavDemosaic(&in, &out, NULL)), tavResultText(TAV_OK)) == 0) return 1;
    printf("consumer: ok\n");
    return 0;
}
