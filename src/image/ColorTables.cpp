// The constant product tables of the fast colour forms: entry i is exactly K * i.
// Built by macro expansion so they are constant-initialised data, usable from
// any static constructor of a host.
#include <quevarra/qv_color.h>

#define QV_MUL4(K, i) (K) * (i), (K) * ((i) + 1), (K) * ((i) + 2), (K) * ((i) + 3)
#define QV_MUL16(K, i) \
    QV_MUL4(K, i), QV_MUL4(K, (i) + 4), QV_MUL4(K, (i) + 8), QV_MUL4(K, (i) + 12)
#define QV_MUL64(K, i) \
    QV_MUL16(K, i), QV_MUL16(K, (i) + 16), QV_MUL16(K, (i) + 32), QV_MUL16(K, (i) + 48)
#define QV_MUL256(K) QV_MUL64(K, 0), QV_MUL64(K, 64), QV_MUL64(K, 128), QV_MUL64(K, 192)

const int mul_8258[256] = {QV_MUL256(8258)};
const int mul_1606[256] = {QV_MUL256(1606)};
const int mul_4768[256] = {QV_MUL256(4768)};
const int mul_7193[256] = {QV_MUL256(7193)};
const int mul_1163[256] = {QV_MUL256(1163)};
const int mul_9536[256] = {QV_MUL256(9536)};
const int mul_6660[256] = {QV_MUL256(6660)};
