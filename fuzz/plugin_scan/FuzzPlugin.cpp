// A plugin whose records come from the fuzz target that loads it: each entry
// asks the target, through symbols the target exports, for the next list.
#include <dlfcn.h>

#include <quevarra/qv_records.h>

#define EXPORT extern "C" __attribute__((visibility("default")))

namespace {
typedef const void* (*PFN_NEXT)();
const void* Next(const char* name) {
    PFN_NEXT next = reinterpret_cast<PFN_NEXT>(dlsym(RTLD_DEFAULT, name));
    return next ? next() : nullptr;
}
}  // namespace

EXPORT const ENCODER_ITEM* PLXGetEncoders() {
    return static_cast<const ENCODER_ITEM*>(Next("QvFuzzNextEncoders"));
}

EXPORT const FILEFORMAT_ITEM* PLXGetFileMuxers() {
    return static_cast<const FILEFORMAT_ITEM*>(Next("QvFuzzNextMuxers"));
}
