// A tiny host, copied into places and run there: the application path and the
// log library's one-time load depend on where the executable lies.
#include <stdio.h>
#include <string.h>

#include <quevarra/qv_embed.h>
#include <quevarra/qv_support.h>

// Prints each message it receives, as UTF-8, followed by "|".
static void PrintMessage(void*, const wchar_t* message) {
    char text[256];
    WtoUTF8(message, -1, text, sizeof text, false);
    printf("%s|", text);
}

int main(int argc, char** argv) {
    const char* mode = argc > 1 ? argv[1] : "path";
    if (strcmp(mode, "callback") == 0) QVSetLogCallback(PrintMessage, nullptr);
    if (strcmp(mode, "log") == 0 || strcmp(mode, "callback") == 0)
        return Log(L"first"), LogEx(L"second %d", 2), 0;
    char path[512], fromWide[1024];
    wchar_t wide[512];
    GetAppPathA(path, 511);
    WtoUTF8(GetAppPath(wide, 511), -1, fromWide, sizeof fromWide, false);
    printf("%s\n%s\n", path, fromWide);
    return 0;
}
