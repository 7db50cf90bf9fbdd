/* Symbol visibility for the Quevarra library.
 *
 * The library is built with -fvisibility=hidden; only names marked QV_API are
 * exported. Host code sees the same macro as a plain default-visibility mark. */
#ifndef QUEVARRA_QV_EXPORT_H
#define QUEVARRA_QV_EXPORT_H

#if defined(__GNUC__) || defined(__clang__)
#define QV_API __attribute__((visibility("default")))
#else
#define QV_API
#endif

#endif /* QUEVARRA_QV_EXPORT_H */
