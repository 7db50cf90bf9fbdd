// The host's log callback, which takes the place of the logging library while
// one is set.
#ifndef QUEVARRA_SUPPORT_LOGSINK_H
#define QUEVARRA_SUPPORT_LOGSINK_H

#include <wchar.h>

namespace qvlog {

// Hands a formatted message to the host's callback and returns true when one
// is set (a null message is then swallowed); false when none is set and the
// message belongs to the logging library.
bool SendToHost(const wchar_t* message);

}  // namespace qvlog

#endif
