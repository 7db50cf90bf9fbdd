// The host's log callback. Swapping it waits for the calls of the old one
// still running on other threads, so that a host may release whatever its user
// pointer points to as soon as QVSetLogCallback returns. No lock is held while
// a callback runs: it may log again, or swap the callback itself.
#include <quevarra/qv_embed.h>

#include <condition_variable>
#include <mutex>

#include "support/LogSink.h"

namespace {

// Whether this thread waits inside QVSetLogCallback. A call of the callback
// further up such a thread's stack cannot go on before the wait ends, so other
// setters do not wait for it: two callbacks swapping at once must not deadlock.
struct ThreadState {
    bool waiting;
};
thread_local ThreadState t_state;

// One call of the callback in progress, on its thread's stack.
struct Call {
    uint64_t generation;  // the callback's: it was current then
    const ThreadState* thread;
    Call* prev;
    Call* next;
};

struct Sink {
    std::mutex mutex;
    std::condition_variable changed;
    QV_LOG_CALLBACK callback = nullptr;
    void* user = nullptr;
    uint64_t generation = 0;  // raised by every swap
    Call* calls = nullptr;    // calls in progress
    int waiters = 0;          // setters waiting on `changed`

    void Link(Call& c) {
        c.prev = nullptr;
        c.next = calls;
        if (calls) calls->prev = &c;
        calls = &c;
    }
    void Unlink(Call& c) {
        (c.prev ? c.prev->next : calls) = c.next;
        if (c.next) c.next->prev = c.prev;
    }
    // Whether a callback older than `generation` still runs where it can go on.
    bool OlderCallsRunning(uint64_t current, const ThreadState* self) const {
        for (const Call* c = calls; c; c = c->next)
            if (c->generation < current && c->thread != self && !c->thread->waiting) return true;
        return false;
    }
};

// Never destroyed: messages may still come from static destructors at exit.
Sink& TheSink() {
    static Sink* sink = new Sink;
    return *sink;
}

}  // namespace

bool qvlog::SendToHost(const wchar_t* message) {
    Sink& sink = TheSink();
    Call call;
    QV_LOG_CALLBACK callback;
    void* user;
    {
        std::lock_guard<std::mutex> lock(sink.mutex);
        if (!sink.callback) return false;
        callback = sink.callback;
        user = sink.user;
        call.generation = sink.generation;
        call.thread = &t_state;
        sink.Link(call);
    }
    struct Done {
        Sink& sink;
        Call& call;
        ~Done() {
            std::lock_guard<std::mutex> lock(sink.mutex);
            sink.Unlink(call);
            if (sink.waiters) sink.changed.notify_all();
        }
    } done{sink, call};
    if (message) callback(user, message);
    return true;
}

extern "C" void QVSetLogCallback(QV_LOG_CALLBACK pfnLog, void* pUser) {
    try {
        Sink& sink = TheSink();
        std::unique_lock<std::mutex> lock(sink.mutex);
        sink.callback = pfnLog;
        sink.user = pfnLog ? pUser : nullptr;
        const uint64_t current = ++sink.generation;
        if (!sink.OlderCallsRunning(current, &t_state)) return;
        struct Waiting {
            Sink& sink;
            Waiting(Sink& s) : sink(s) { t_state.waiting = true, ++sink.waiters; }
            ~Waiting() { t_state.waiting = false, --sink.waiters; }
        } waiting(sink);
        // Setters that wait for a call on this thread may go on now.
        sink.changed.notify_all();
        sink.changed.wait(lock, [&] { return !sink.OlderCallsRunning(current, &t_state); });
    } catch (...) {
        // Only the lock can throw (a system error); no exception leaves a C entry point.
    }
}
