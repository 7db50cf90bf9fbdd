// Ctrl-C and termination requests: caught while a file is written so that the
// run can stop cleanly and remove its incomplete output.
#ifndef QVENCODE_INTERRUPT_H
#define QVENCODE_INTERRUPT_H

#include <signal.h>

namespace qvenc {

// Catches SIGINT and SIGTERM until the scope ends (the previous handlers are
// restored then).
class InterruptScope {
public:
    InterruptScope();
    ~InterruptScope();
    InterruptScope(const InterruptScope&) = delete;
    InterruptScope& operator=(const InterruptScope&) = delete;

private:
    struct sigaction m_previousInt, m_previousTerm;
};

// A signal arrived in a scope.
bool Interrupted();

}  // namespace qvenc

#endif
