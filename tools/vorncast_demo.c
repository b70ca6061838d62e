/* Smoke program: initialises the library and prints what it reports of itself. */
#include <stdio.h>
#include <string.h>
#include <vorncast/VorncastDecoders.h>

static void PrintLog(const char* file, int line, int level, const char* message) {
    printf("[log %d %s:%d] %s", level, file, line, message);
}

int main(int argc, char** argv) {
    (void)argc;
    (void)argv;
    VcInitRecord init;
    memset(&init, 0, sizeof init);
    init.logCallback = PrintLog;
    InitVorncastDecoders(init);

    uint32_t v[4];
    GetSDKVersion(&v[0], &v[1], &v[2], &v[3]);
    printf("Vorncast SDK %u.%u.%u.%u\n", v[0], v[1], v[2], v[3]);
    GetIppLibVersion(&v[0], &v[1], &v[2], &v[3]);
    printf("Codec engine %u.%u.%u.%u\n", v[0], v[1], v[2], v[3]);
    CloseVorncastDecoders();
    return 0;
}
