#include "Interrupt.h"

#include <csignal>

namespace qvenc {

namespace {

volatile std::sig_atomic_t g_interrupted = 0;

void OnSignal(int) { g_interrupted = 1; }

// Without SA_RESTART, so that a read blocked on a pipe returns and FFmpeg
// can see the request instead of waiting for more input.
struct sigaction Catch(int signal) {
    struct sigaction action = {}, previous = {};
    action.sa_handler = OnSignal;
    sigemptyset(&action.sa_mask);
    sigaction(signal, &action, &previous);
    return previous;
}

}  // namespace

InterruptScope::InterruptScope() : m_previousInt(Catch(SIGINT)), m_previousTerm(Catch(SIGTERM)) {}

InterruptScope::~InterruptScope() {
    sigaction(SIGINT, &m_previousInt, nullptr);
    sigaction(SIGTERM, &m_previousTerm, nullptr);
}

bool Interrupted() { return g_interrupted != 0; }

}  // namespace qvenc
