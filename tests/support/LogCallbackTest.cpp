// The host's log callback: the texts it gets, the default restored, logging
// and swapping from inside it, and swaps while other threads log.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <set>
#include <thread>

#include <quevarra/qv_embed.h>
#include <quevarra/qv_mediafile.h>
#include <quevarra/qv_support.h>

#include "common/TestSupport.h"

namespace {

typedef std::vector<std::wstring> Msgs;

// One installed callback's user data: what it got, and whether any call of
// it was still running, or began, after it was replaced.
struct Recorder {
    std::mutex mutex;
    Msgs messages;
    std::atomic<bool> replaced{false};
    std::atomic<int> lateCalls{0};
    Msgs Take() {
        std::lock_guard<std::mutex> lock(mutex);
        return std::move(messages);
    }
};

void Record(void* user, const wchar_t* message) {
    Recorder& r = *static_cast<Recorder*>(user);
    if (r.replaced) ++r.lateCalls;
    {
        std::lock_guard<std::mutex> lock(r.mutex);
        r.messages.emplace_back(message);
    }
    std::this_thread::yield();  // a slow callback: a swap must wait for it
    if (r.replaced) ++r.lateCalls;
}

class LogCallback : public ::testing::Test {
protected:
    void SetUp() override { qvtest::InstallTestLog(); }
    void TearDown() override {
        QVSetLogCallback(nullptr, nullptr);
        qvtest::TakeLog();
    }
};

TEST_F(LogCallback, GetsWhatTheLoggingLibraryWouldHaveGotUntilTheDefaultIsRestored) {
    Recorder r;
    QVSetLogCallback(Record, &r);
    EXPECT_EQ(Log(L"plain\r\n"), 1);
    LogEx(L"open [%s] and [%ls] %d", "M\xc3\xbcller.mp4", L"\u89c6\u9891", 7);
    LogEx(L"%ls", L"");  // empty: delivered nowhere
    EXPECT_EQ(Log(nullptr), 0);
    EncodeParam p;
    QVDefaultEncodeParam(&p);
    p.dwFileFormat = QV_FOURCC('N', 'O', 'N', 'E');
    EXPECT_EQ(QVCreateMediaFile(L"x.mp4", &p, nullptr, nullptr), nullptr);
    Msgs got = r.Take();
    ASSERT_GE(got.size(), 4u);
    EXPECT_EQ(Msgs(got.begin(), got.begin() + 2),
              (Msgs{L"plain\r\n", L"open [M\u00fcller.mp4] and [\u89c6\u9891] 7"}));
    EXPECT_EQ(got[got.size() - 2], L"PFile::Create Fail to m_PluginMgr.Create [x.mp4]\r\n");
    EXPECT_EQ(got.back().rfind(L"QVMakeMediaFile: [x.mp4]\r\n\t\tFlie(NONE)", 0), 0u);
    EXPECT_TRUE(qvtest::TakeLog().empty()) << "the logging library got nothing";

    QVSetLogCallback(nullptr, &r);
    Log(L"back");
    EXPECT_EQ(qvtest::TakeLog(), Msgs{L"back"});
    EXPECT_TRUE(r.Take().empty());
}

// A callback may log again (to whatever is current) and replace itself.
TEST_F(LogCallback, MayLogAndSwapFromInsideWithoutDeadlock) {
    static Recorder next;
    static Msgs seen;
    QVSetLogCallback(
        [](void*, const wchar_t* message) {
            seen.emplace_back(message);
            if (seen.back() == L"again") Log(L"nested");
            if (seen.back() == L"swap") QVSetLogCallback(Record, &next), Log(L"after the swap");
        },
        nullptr);
    Log(L"again");
    Log(L"swap");
    Log(L"later");
    EXPECT_EQ(seen, (Msgs{L"again", L"nested", L"swap"}));
    EXPECT_EQ(next.Take(), (Msgs{L"after the swap", L"later"}));
}

// Both threads are inside the same callback when each replaces it: neither may
// wait for the other.
TEST_F(LogCallback, TwoThreadsReplacingTheCallbackFromInsideItDoNotDeadlock) {
    static std::atomic<int> inside{0};
    static Recorder next;
    inside = 0;
    QVSetLogCallback(
        [](void*, const wchar_t*) {
            ++inside;
            while (inside < 2) std::this_thread::yield();
            QVSetLogCallback(Record, &next);
        },
        nullptr);
    std::thread a([] { Log(L"a"); }), b([] { Log(L"b"); });
    a.join(), b.join();
    Log(L"c");
    EXPECT_EQ(next.Take(), Msgs{L"c"});
}

// Two threads log numbered messages while this one keeps replacing the
// callback: every message arrives exactly once, and a replaced recorder never
// gets anything after QVSetLogCallback returned (its count is taken then).
TEST_F(LogCallback, SwapsWhileTwoThreadsLogLoseNothingAndNeverCallAReplacedCallback) {
    constexpr int kPerThread = 3000;
    std::vector<std::unique_ptr<Recorder>> recorders;
    std::vector<size_t> countWhenReplaced;
    recorders.push_back(std::make_unique<Recorder>());
    QVSetLogCallback(Record, recorders.back().get());
    std::atomic<int> running{2};
    auto writer = [&](int id) {
        for (int i = 0; i < kPerThread; ++i) LogEx(L"%d %d", id, i);
        --running;
    };
    std::thread a(writer, 0), b(writer, 1);
    auto replace = [&](Recorder* with) {
        QVSetLogCallback(with ? Record : nullptr, with);
        Recorder& old = *recorders.back();
        old.replaced = true;
        std::lock_guard<std::mutex> lock(old.mutex);
        countWhenReplaced.push_back(old.messages.size());
    };
    while (running > 0) {
        auto fresh = std::make_unique<Recorder>();
        replace(fresh.get());
        recorders.push_back(std::move(fresh));
    }
    a.join(), b.join();
    replace(nullptr);

    std::set<std::wstring> all;
    size_t total = 0, late = 0;
    for (size_t i = 0; i < recorders.size(); ++i) {
        late += recorders[i]->lateCalls > 0 || recorders[i]->messages.size() != countWhenReplaced[i];
        total += recorders[i]->messages.size();
        all.insert(recorders[i]->messages.begin(), recorders[i]->messages.end());
    }
    EXPECT_EQ(late, 0u) << "of " << recorders.size() << " callbacks ran after they were replaced";
    EXPECT_EQ(total, 2u * kPerThread);
    EXPECT_EQ(all.size(), 2u * kPerThread) << "each message once";
    EXPECT_GT(recorders.size(), 2u) << "the callback was replaced while the threads logged";
    EXPECT_TRUE(qvtest::TakeLog().empty());
}

}  // namespace
