// Diagnostic log: forwards wide messages to the host's callback when one is
// set, otherwise to the optional Log.dylib of the application bundle.
#include <quevarra/qv_support.h>

#include <dlfcn.h>
#include <locale.h>
#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <wchar.h>

#include "support/LogSink.h"

namespace {

// All ones: no load tried yet. After the first attempt: the loader's result.
void* hLogHandle = reinterpret_cast<void*>(static_cast<intptr_t>(-1));

typedef int (*PFN_LOG)(const wchar_t*);

// glibc's wide formatting converts "%s" arguments with the thread's locale; a
// UTF-8 locale object used only around the call keeps non-ASCII names intact
// without touching the process's global locale.
locale_t Utf8Locale() {
    static locale_t loc = [] {
        locale_t l = newlocale(LC_CTYPE_MASK, "C.UTF-8", static_cast<locale_t>(0));
        if (!l) l = newlocale(LC_CTYPE_MASK, "en_US.UTF-8", static_cast<locale_t>(0));
        return l;
    }();
    return loc;
}

}  // namespace

void* dyLogInit() {
    if (hLogHandle != reinterpret_cast<void*>(static_cast<intptr_t>(-1))) return hLogHandle;
    char path[512];
    memset(path, 0, sizeof path);
    GetAppPathA(path, 511);
    strncat(path, "/", sizeof path - strlen(path) - 1);
    strncat(path, "Log.dylib", sizeof path - strlen(path) - 1);
    // A bundle URL too long for the path query leaves only "Contents/MacOS",
    // which the loader would resolve against the working directory and so load
    // whatever Log.dylib lies there: a path that is not absolute is not tried.
    hLogHandle = path[0] == '/' ? dlopen(path, RTLD_LAZY) : nullptr;
    if (!hLogHandle) printf("dyLog: dlopen [%s] error.\r\n", path);
    return hLogHandle;
}

void* LogGetAddress(const char* name) {
    void* handle = dyLogInit();
    // A null handle would mean the global namespace to dlsym; look nothing up.
    void* address = handle && name ? dlsym(handle, name) : nullptr;
    if (!address)
        printf("dyLog: LogGetAddress [%s] [0x%x] error.\r\n", name ? name : "",
               static_cast<unsigned>(reinterpret_cast<uintptr_t>(handle)));
    return address;
}

int Log(const wchar_t* message) {
    if (!message) return 0;  // nothing to say; the logging library need not cope with null
    if (qvlog::SendToHost(message)) return 1;
    PFN_LOG entry = reinterpret_cast<PFN_LOG>(LogGetAddress("Log"));
    return entry ? entry(message) : 0;
}

void LogEx(const wchar_t* format, ...) {
    if (!format) return;
    wchar_t buffer[1024];
    wmemset(buffer, 0, 1024);
    locale_t utf8 = Utf8Locale();
    locale_t previous = utf8 ? uselocale(utf8) : static_cast<locale_t>(0);
    va_list args;
    va_start(args, format);
    int written = vswprintf(buffer, 1024, format, args);
    va_end(args);
    if (utf8) uselocale(previous);
    if (written == 0) return;
    buffer[1023] = L'\0';  // a truncated message is still delivered, terminated
    if (qvlog::SendToHost(buffer)) return;
    PFN_LOG entry = reinterpret_cast<PFN_LOG>(LogGetAddress("Log"));
    if (entry) entry(buffer);
}
