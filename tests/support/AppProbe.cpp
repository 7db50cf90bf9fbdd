// A tiny host for the application-path and log-loading tests, copied into
// places and run there: both depend on where the executable lies, and the log
// library is tried once per process.
#include <stdio.h>
#include <string.h>

#include <quevarra/qv_support.h>

int main(int argc, char** argv) {
    if (argc > 1 && strcmp(argv[1], "log") == 0) {
        Log(L"first");
        LogEx(L"second %d", 2);
        return 0;
    }
    char path[512];
    wchar_t wide[512];
    char fromWide[1024];
    GetAppPathA(path, 511);
    WtoUTF8(GetAppPath(wide, 511), -1, fromWide, sizeof fromWide, false);
    printf("%s\n%s\n", path, fromWide);
    return 0;
}
