#include "Runtime.h"

#include <quevarra/quevarra.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <shared_mutex>
#include <utility>

#include "Writer.h"

namespace py = pybind11;

namespace qvpy {

namespace {

// The library's callback stays ours from first use to interpreter exit and
// sends each message to the Python handler, or, without one, where the
// library would have sent it (Log.dylib). Swapping only the Python side keeps
// QVSetLogCallback, which waits for callbacks in flight, off every path that
// holds the interpreter lock.
// Held alone to start and stop the library (hook, plugins), shared while a
// file is created; always taken with the interpreter lock released.
std::shared_mutex g_library;
std::atomic<bool> g_hooked{false};
std::atomic<bool> g_pluginsUp{false};
std::atomic<bool> g_exiting{false};

PyObject* g_handler = nullptr;  // changed only with the interpreter lock held
std::atomic<bool> g_hasHandler{false};

thread_local LogCapture* t_capture = nullptr;

std::mutex g_openMutex;
std::vector<std::pair<const Writer*, std::weak_ptr<Writer>>> g_open;

typedef int (*PFN_LOG)(const wchar_t*);

void ToLogLibrary(const wchar_t* message) {
    if (PFN_LOG entry = reinterpret_cast<PFN_LOG>(LogGetAddress("Log"))) entry(message);
}

size_t WithoutLineEnd(const wchar_t* message) {
    size_t n = wcslen(message);
    while (n && (message[n - 1] == L'\r' || message[n - 1] == L'\n')) --n;
    return n;
}

void OnLog(void*, const wchar_t* message) {
    if (!message) return;
    try {
        if (t_capture) t_capture->Add(message);
    } catch (...) {
        // Out of memory: the message still goes on below.
    }
    if (!g_hasHandler.load()) {
        ToLogLibrary(message);
        return;
    }
    PyGILState_STATE gil = PyGILState_Ensure();
    PyObject* handler = g_handler;
    if (!handler) {
        PyGILState_Release(gil);
        ToLogLibrary(message);
        return;
    }
    Py_INCREF(handler);
    PyObject* text = PyUnicode_FromWideChar(message, static_cast<Py_ssize_t>(WithoutLineEnd(message)));
    PyObject* result = text ? PyObject_CallFunctionObjArgs(handler, text, nullptr) : nullptr;
    // The library cannot take an exception: Python reports it as unraisable.
    if (!result) PyErr_WriteUnraisable(handler);
    Py_XDECREF(result);
    Py_XDECREF(text);
    Py_DECREF(handler);
    PyGILState_Release(gil);
}

// Interpreter lock released, g_library held alone.
void HookLocked() {
    if (g_hooked) return;
    QVSetLogCallback(OnLog, nullptr);
    g_hooked = true;
}

// Run by Python's atexit: closes what is still open (the handler still hears
// about it), then hands back the log callback and the plugins while the
// interpreter still runs.
void AtExit() {
    g_exiting = true;
    {
        py::gil_scoped_release unlocked;
        std::unique_lock<std::shared_mutex> alone(g_library);
        std::vector<std::shared_ptr<Writer>> open;
        {
            std::lock_guard<std::mutex> lock(g_openMutex);
            for (auto& entry : g_open)
                if (auto w = entry.second.lock()) open.push_back(std::move(w));
        }
        for (auto& w : open) {
            try {
                w->Close(nullptr, nullptr);
            } catch (...) {
                // Said in the log; nobody is left to raise it to.
            }
        }
    }
    g_hasHandler = false;
    Py_CLEAR(g_handler);
    py::gil_scoped_release unlocked;
    std::unique_lock<std::shared_mutex> alone(g_library);
    if (g_hooked) QVSetLogCallback(nullptr, nullptr);
    g_hooked = false;
    if (g_pluginsUp) QVUninitPlugins();
    g_pluginsUp = false;
}

LibraryError Exiting() { return LibraryError("the interpreter is exiting: no new files"); }

}  // namespace

void InstallExitHandler() { py::module_::import("atexit").attr("register")(py::cpp_function(&AtExit)); }

void EnsurePlugins() {
    if (g_exiting) throw Exiting();
    if (g_pluginsUp) return;
    py::gil_scoped_release unlocked;
    std::unique_lock<std::shared_mutex> alone(g_library);
    if (g_exiting) throw Exiting();
    if (g_pluginsUp) return;
    HookLocked();
    // A missing plugin directory is logged; formats() is then empty and
    // creating a file says the container has no plugin.
    QVInitPlugins();
    g_pluginsUp = true;
}

std::shared_ptr<Writer> CreateWriter(const FileConfig& config) {
    std::shared_lock<std::shared_mutex> shared(g_library);
    if (g_exiting) throw Exiting();
    auto writer = std::make_shared<Writer>(config);
    std::lock_guard<std::mutex> lock(g_openMutex);
    g_open.emplace_back(writer.get(), writer);
    return writer;
}

void SetLogHandler(py::object handler) {
    if (!handler.is_none() && !PyCallable_Check(handler.ptr()))
        throw py::type_error("set_log_handler: expected a callable or None, got " +
                             std::string(Py_TYPE(handler.ptr())->tp_name));
    // Once hooked, the lock is not needed; skipping it also lets a handler
    // replace itself while the library, holding it on this thread, logs.
    if (!g_exiting && !g_hooked) {
        py::gil_scoped_release unlocked;
        std::unique_lock<std::shared_mutex> alone(g_library);
        HookLocked();
    }
    PyObject* old = g_handler;
    g_handler = handler.is_none() ? nullptr : handler.release().ptr();
    g_hasHandler = g_handler != nullptr && !g_exiting;
    Py_XDECREF(old);
}

LogCapture::LogCapture() : m_outer(t_capture) { t_capture = this; }

LogCapture::~LogCapture() { t_capture = m_outer; }

void LogCapture::Add(const wchar_t* message) { m_lines.emplace_back(message, WithoutLineEnd(message)); }

std::string LogCapture::Text() const {
    std::string text;
    for (const std::wstring& line : m_lines) {
        if (!text.empty()) text += '\n';
        text += Narrow(line);
    }
    return text;
}

void UnregisterOpen(const Writer* writer) {
    std::lock_guard<std::mutex> lock(g_openMutex);
    g_open.erase(std::remove_if(g_open.begin(), g_open.end(), [&](const auto& e) { return e.first == writer; }),
                 g_open.end());
}

std::string Narrow(const std::wstring& text) {
    std::string out(text.size() * 4 + 1, '\0');
    if (WtoUTF8(text.c_str(), -1, &out[0], static_cast<int>(out.size()), false) != conversionOK) return "?";
    out.resize(strlen(out.c_str()));
    return out;
}

}  // namespace qvpy
