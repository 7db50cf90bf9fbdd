// A tiny host for the application-path and log-loading tests: it is copied
// into places and run there, since both depend on where the executable lies
// and the log library is tried once per process.
#include <stdio.h>
#include <string.h>

#include <quevarra/qv_support.h>

int main(int argc, char** argv) {
    const char* mode = argc > 1 ? argv[1] : "path";
    if (strcmp(mode, "path") == 0) {
        char path[512];
        GetAppPathA(path, 511);
        wchar_t wide[512];
        char fromWide[1024];
        WtoUTF8(GetAppPath(wide, 511), -1, fromWide, sizeof fromWide, false);
        printf("%s\n%s\n", path, fromWide);
        return 0;
    }
    if (strcmp(mode, "log") == 0) {
        Log(L"first");
        LogEx(L"second %d", 2);
        Log(L"third");
        return 0;
    }
    return 2;
}
