// The quevarra extension module: Python objects in, the library's records out.
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <quevarra/quevarra.h>

#include <Names.h>

#include <cmath>
#include <memory>
#include <optional>
#include <string>

#include "Request.h"
#include "Runtime.h"
#include "Writer.h"

namespace py = pybind11;
using namespace pybind11::literals;

namespace qvpy {

namespace {

std::string ShapeText(const std::vector<py::ssize_t>& shape) {
    std::string s = "(";
    for (size_t i = 0; i < shape.size(); ++i) s += (i ? ", " : "") + std::to_string(shape[i]);
    return s + (shape.size() == 1 ? ",)" : ")");
}

// numpy's name for a buffer's element type, for messages.
std::string TypeText(const py::buffer_info& b) {
    std::string f = b.format;
    while (!f.empty() && std::string("@=<>!").find(f[0]) != std::string::npos) f.erase(0, 1);
    static const struct {
        const char* code;
        const char* name;
    } kNames[] = {{"b", "int8"},   {"B", "uint8"},   {"h", "int16"},   {"H", "uint16"}, {"i", "int32"},
                  {"I", "uint32"}, {"l", "int64"},   {"L", "uint64"},  {"q", "int64"}, {"Q", "uint64"},
                  {"e", "float16"}, {"f", "float32"}, {"d", "float64"}, {"?", "bool"}};
    for (const auto& n : kNames)
        if (f == n.code) return n.name;
    return "'" + b.format + "'";
}

// Whether the elements are of the one-letter struct code (native byte order).
bool IsType(const py::buffer_info& b, char code, py::ssize_t size) {
    std::string f = b.format;
    if (!f.empty() && (f[0] == '@' || f[0] == '=' || f[0] == '<')) f.erase(0, 1);
    return b.itemsize == size && f.size() == 1 && f[0] == code;
}

py::buffer_info AcquireBuffer(const py::handle& obj, const std::string& what, const char* expected) {
    if (!PyObject_CheckBuffer(obj.ptr()))
        throw py::type_error(what + ": expected " + expected + ", got " + Py_TYPE(obj.ptr())->tp_name);
    return py::reinterpret_borrow<py::buffer>(obj).request();
}

// A picture of `rows` x `cols` pixels of `channels` uint8 each: (rows, cols,
// channels), (rows, cols) when channels is 0, or the whole picture as one
// flat contiguous run. Pixels must be contiguous within a row; rows may be
// padded or in reverse order. Returns the first row and the row stride.
PackedPicture Rows(const py::buffer_info& b, const std::string& what, py::ssize_t rows, py::ssize_t cols,
                   py::ssize_t channels) {
    if (!IsType(b, 'B', 1)) throw py::type_error(what + ": expected uint8 data, got " + TypeText(b));
    const py::ssize_t pixel = channels ? channels : 1;
    std::vector<py::ssize_t> shape = {rows, cols};
    if (channels) shape.push_back(channels);
    if (b.ndim == 1 && b.shape[0] == rows * cols * pixel && (b.shape[0] <= 1 || b.strides[0] == 1))
        return {static_cast<const uint8_t*>(b.ptr), cols * pixel};
    if (b.shape != shape)
        throw py::value_error(what + ": expected shape " + ShapeText(shape) + ", got " + ShapeText(b.shape));
    if ((channels && b.strides[2] != 1) || (cols > 1 && b.strides[1] != pixel))
        throw py::value_error(what + ": the pixels of a row must be contiguous (use numpy.ascontiguousarray)");
    const py::ssize_t stride = rows > 1 ? b.strides[0] : cols * pixel;
    if (std::abs(stride) < cols * pixel || std::abs(stride) > INT32_MAX)
        throw py::value_error(what + ": row stride " + std::to_string(stride) +
                              " does not fit rows of " + std::to_string(cols * pixel) + " bytes");
    return {static_cast<const uint8_t*>(b.ptr), stride};
}

int64_t StreamTime(double seconds) {
    // Beyond this the 100 ns count would not fit 64 bits.
    if (!std::isfinite(seconds) || std::fabs(seconds) > 9.0e11)
        throw py::value_error("time: expected a finite number of seconds, got " + std::to_string(seconds));
    return std::llround(seconds * 10000000.0);
}

struct Progress {
    py::object fn;
    std::optional<py::error_already_set> error;

    static unsigned Call(void* user, unsigned done, unsigned total, unsigned stage) {
        auto* self = static_cast<Progress*>(user);
        py::gil_scoped_acquire gil;
        if (self->error) return 0;  // once it raised, it is not called again
        try {
            self->fn(done, total, stage);
        } catch (py::error_already_set& e) {
            self->error = std::move(e);
        } catch (...) {
            PyErr_SetString(PyExc_RuntimeError, "close: the progress callback failed");
            self->error.emplace();
        }
        return 0;
    }
};

class PyMediaFile {
public:
    explicit PyMediaFile(const FileRequest& request) {
        EnsurePlugins();
        const FileConfig config = ResolveRequest(request);
        py::gil_scoped_release unlocked;
        m_writer = CreateWriter(config);
    }

    ~PyMediaFile() {
        if (!m_writer || !m_writer->IsOpen()) return;
        const std::string text = "unclosed quevarra.MediaFile '" + m_writer->Config().pathText + "' closed when collected";
        if (PyErr_WarnEx(PyExc_ResourceWarning, text.c_str(), 1) < 0) PyErr_WriteUnraisable(Py_None);
        py::gil_scoped_release unlocked;
        m_writer.reset();
    }

    unsigned WriteVideo(const py::object& frame, double time) {
        CheckOpen();
        const FileConfig& c = m_writer->Config();
        if (!m_writer->HasVideo()) throw py::value_error("write_video: " + NoStream("video"));
        const int64_t t = StreamTime(time);
        const py::ssize_t h = c.videoInfo.height, w = c.videoInfo.width;
        unsigned result = 0;
        bool open;
        if (c.pixelFormat == PixelFormat::Yuv420p) {
            if (!py::isinstance<py::tuple>(frame) && !py::isinstance<py::list>(frame))
                throw py::type_error(std::string("frame: expected a tuple of three planes (Y, U, V) for pixel_format "
                                                 "'yuv420p', got ") + Py_TYPE(frame.ptr())->tp_name);
            const py::sequence planes = frame;
            if (planes.size() != 3)
                throw py::value_error("frame: expected three planes (Y, U, V), got " + std::to_string(planes.size()));
            static const char* kNames[] = {"frame Y plane", "frame U plane", "frame V plane"};
            py::buffer_info info[3];
            const uint8_t* ptr[3];
            ptrdiff_t pitch[3];
            for (int i = 0; i < 3; ++i) {
                info[i] = AcquireBuffer(planes[i], kNames[i], "a 2-D uint8 array");
                const PackedPicture p = Rows(info[i], kNames[i], i ? (h + 1) / 2 : h, i ? (w + 1) / 2 : w, 0);
                ptr[i] = p.data;
                pitch[i] = p.rowStride;
            }
            py::gil_scoped_release unlocked;
            open = m_writer->WritePlanes(ptr, pitch, t, result);
        } else {
            const int bytes = BytesPerPixel(c.pixelFormat);
            const std::string expected = "a uint8 array of shape (" + std::to_string(h) + ", " + std::to_string(w) +
                                         ", " + std::to_string(bytes) + ")";
            const py::buffer_info info = AcquireBuffer(frame, "frame", expected.c_str());
            const PackedPicture p = Rows(info, "frame (pixel_format '" + std::string(PixelFormatName(c.pixelFormat)) + "')",
                                         h, w, bytes);
            py::gil_scoped_release unlocked;
            open = m_writer->WritePacked(p, t, result);
        }
        if (!open) ThrowClosed();
        return result;
    }

    unsigned WriteAudio(const py::object& samples, double time) {
        CheckOpen();
        if (!m_writer->HasAudio()) throw py::value_error("write_audio: " + NoStream("audio"));
        const int64_t t = StreamTime(time);
        const py::ssize_t channels = m_writer->Config().audioInfo.channels;
        const std::string shape = channels == 1 ? "(n,) or (n, 1)" : "(n, " + std::to_string(channels) + ")";
        const py::buffer_info b = AcquireBuffer(samples, "samples", ("an int16 array of shape " + shape).c_str());
        const uint8_t* data = static_cast<const uint8_t*>(b.ptr);
        py::ssize_t frames, frameStride, sampleStride = 2;
        if (PyBytes_Check(samples.ptr()) || PyByteArray_Check(samples.ptr())) {
            // Raw interleaved PCM, as the wave module reads it.
            if (b.size % (2 * channels))
                throw py::value_error("samples: " + std::to_string(b.size) + " bytes are not whole frames of " +
                                      std::to_string(channels) + " 16-bit samples");
            frames = b.size / (2 * channels);
            frameStride = 2 * channels;
        } else {
            if (!IsType(b, 'h', 2)) throw py::type_error("samples: expected int16 data, got " + TypeText(b));
            if (b.ndim == 1 && channels == 1) {
                frames = b.shape[0];
                frameStride = b.strides[0];
            } else if (b.ndim == 2 && b.shape[1] == channels) {
                frames = b.shape[0];
                frameStride = b.strides[0];
                sampleStride = b.strides[1];
            } else {
                throw py::value_error("samples: expected shape " + shape + " for " + std::to_string(channels) +
                                      " channel" + (channels == 1 ? "" : "s") + ", got " + ShapeText(b.shape));
            }
        }
        if (frames == 0) return 0;
        unsigned result = 0;
        bool open;
        {
            py::gil_scoped_release unlocked;
            open = m_writer->WriteAudio(data, frameStride, sampleStride, static_cast<size_t>(frames), t, result);
        }
        if (!open) ThrowClosed();
        return result;
    }

    py::dict Stats() const {
        QV_MEDIAFILE_STATS s;
        {
            py::gil_scoped_release unlocked;
            s = m_writer->Stats();
        }
        return py::dict("video_frames_in"_a = s.llVideoFramesIn, "video_frames_out"_a = s.llVideoFramesOut,
                        "video_frames_repeated"_a = s.llVideoFramesRepeated,
                        "video_frames_dropped"_a = s.llVideoFramesDropped, "audio_samples_in"_a = s.llAudioSamplesIn,
                        "audio_samples_out"_a = s.llAudioSamplesOut, "audio_samples_filled"_a = s.llAudioSamplesFilled,
                        "audio_samples_cut"_a = s.llAudioSamplesCut, "video_time"_a = s.llVideoTime / 1e7,
                        "audio_time"_a = s.llAudioTime / 1e7);
    }

    void Close(const py::object& progress) {
        if (!progress.is_none() && !PyCallable_Check(progress.ptr()))
            throw py::type_error(std::string("close: progress must be callable or None, got ") +
                                 Py_TYPE(progress.ptr())->tp_name);
        Progress p{progress, std::nullopt};
        {
            py::gil_scoped_release unlocked;
            m_writer->Close(progress.is_none() ? nullptr : &Progress::Call, &p);
        }
        if (p.error) throw *p.error;
    }

    bool Closed() const { return !m_writer->IsOpen(); }
    const std::string& Path() const { return m_writer->Config().pathText; }

    std::string Repr() const {
        const EncodeParam& p = m_writer->Config().param;
        std::string s = "<quevarra.MediaFile '" + Path() + "' " + qvnames::DisplayName(p.dwFileFormat);
        if (!p.bDisableVideo) s += " " + qvnames::DisplayName(p.video.dwFourCC);
        if (!p.bDisableAudio) s += " " + qvnames::DisplayName(p.audio.dwFourCC);
        return s + (Closed() ? " closed>" : ">");
    }

private:
    void CheckOpen() const {
        if (Closed()) ThrowClosed();
    }
    [[noreturn]] void ThrowClosed() const { throw py::value_error("write to a closed file '" + Path() + "'"); }
    std::string NoStream(const char* kind) const {
        return "'" + Path() + "' has no " + kind + " stream (" + kind + "=False, or its container carries none)";
    }

    std::shared_ptr<Writer> m_writer;
};

std::wstring WidePath(const py::object& path, std::string& text) {
    py::module_ os = py::module_::import("os");
    const py::object name = os.attr("fsdecode")(path);  // str, bytes or os.PathLike
    const py::bytes encoded = os.attr("fsencode")(name);
    text = encoded;
    Py_ssize_t n = 0;
    wchar_t* wide = PyUnicode_AsWideCharString(name.ptr(), &n);
    if (!wide) throw py::error_already_set();
    std::wstring result(wide, static_cast<size_t>(n));
    PyMem_Free(wide);
    return result;
}

py::list Formats() {
    EnsurePlugins();
    py::list list;
    const auto text = [](const wchar_t* s, size_t capacity) {
        return py::str(Narrow(std::wstring(s, wcsnlen(s, capacity))));
    };
    const auto codecs = [](ENCODER_ITEM** items, int count) {
        py::list codes;
        for (int i = 0; items && i < count; ++i)
            if (items[i]) codes.append(qvnames::FourCCText(items[i]->dwFourCC));
        return codes;
    };
    for (const FILEFORMAT_INFO* f = QVGetFileFormatInfos(); f && f->dwFourCC; ++f)
        list.append(py::dict("fourcc"_a = qvnames::FourCCText(f->dwFourCC), "extension"_a = text(f->wszText0, 10),
                             "name"_a = text(f->wszText1, 64), "description"_a = text(f->wszText2, 128),
                             "video_codecs"_a = codecs(f->ppVideoEnc, f->nVideoEnc),
                             "audio_codecs"_a = codecs(f->ppAudioEnc, f->nAudioEnc)));
    return list;
}

}  // namespace

}  // namespace qvpy

PYBIND11_MODULE(quevarra, m) {
    using namespace qvpy;
    m.doc() = "Writes video and audio files from raw frames and samples through the Quevarra library.";
    m.attr("__version__") = QVGetVersionString();
    py::register_exception<LibraryError>(m, "Error", PyExc_Exception);
    InstallExitHandler();

    m.def("formats", &Formats,
          "The file formats the installed plugins write: a list of dicts with fourcc, extension, name,\n"
          "description, video_codecs and audio_codecs (FourCC strings).");
    m.def("set_log_handler", &SetLogHandler, "handler"_a,
          "Sends every library message to handler(message: str), without its line end; the handler may be\n"
          "called from any thread. None restores the default (the file named by QUEVARRA_LOG, else nowhere).");

    py::class_<PyMediaFile>(m, "MediaFile",
                            "A media file being written. Use it as a context manager, or call close().")
        .def(py::init([](const py::object& path, std::optional<std::string> format,
                         std::optional<std::string> videoCodec, std::optional<std::string> audioCodec,
                         std::optional<int64_t> width, std::optional<int64_t> height, std::optional<double> fps,
                         std::optional<int64_t> videoBitrate, std::optional<int64_t> sampleRate,
                         std::optional<int64_t> channels, std::optional<int64_t> audioBitrate,
                         std::optional<int64_t> inputWidth, std::optional<int64_t> inputHeight,
                         std::optional<double> inputFps, std::optional<int64_t> inputSampleRate,
                         std::optional<int64_t> inputChannels, std::string pixelFormat, std::string resize,
                         std::string interpolation, bool video, bool audio) {
                 FileRequest r;
                 r.path = WidePath(path, r.pathText);
                 r.format = std::move(format);
                 r.videoCodec = std::move(videoCodec);
                 r.audioCodec = std::move(audioCodec);
                 r.width = width;
                 r.height = height;
                 r.fps = fps;
                 r.videoBitrate = videoBitrate;
                 r.sampleRate = sampleRate;
                 r.channels = channels;
                 r.audioBitrate = audioBitrate;
                 r.inputWidth = inputWidth;
                 r.inputHeight = inputHeight;
                 r.inputFps = inputFps;
                 r.inputSampleRate = inputSampleRate;
                 r.inputChannels = inputChannels;
                 r.pixelFormat = std::move(pixelFormat);
                 r.resize = std::move(resize);
                 r.interpolation = std::move(interpolation);
                 r.video = video;
                 r.audio = audio;
                 return std::make_unique<PyMediaFile>(r);
             }),
             "path"_a, py::kw_only(), "format"_a = py::none(), "video_codec"_a = py::none(),
             "audio_codec"_a = py::none(), "width"_a = py::none(), "height"_a = py::none(), "fps"_a = py::none(),
             "video_bitrate"_a = py::none(), "sample_rate"_a = py::none(), "channels"_a = py::none(),
             "audio_bitrate"_a = py::none(), "input_width"_a = py::none(), "input_height"_a = py::none(),
             "input_fps"_a = py::none(), "input_sample_rate"_a = py::none(), "input_channels"_a = py::none(),
             "pixel_format"_a = "rgb24", "resize"_a = "keep", "interpolation"_a = "bilinear", "video"_a = true,
             "audio"_a = true,
             "Creates the file. The container comes from the extension unless format is given; codecs, sizes\n"
             "and rates default as qvencode chooses them. Raises ValueError for a request that cannot be met\n"
             "and quevarra.Error when the library cannot create the file.")
        .def("write_video", &PyMediaFile::WriteVideo, "frame"_a, "time"_a,
             "Writes one picture shown from `time` seconds on; returns the library's result (0 when the\n"
             "frame was dropped to keep the frame rate).")
        .def("write_audio", &PyMediaFile::WriteAudio, "samples"_a, "time"_a,
             "Writes int16 samples, shape (n, channels) or (n,) for mono, starting at `time` seconds.")
        .def_property_readonly("stats", &PyMediaFile::Stats, "What was received and written so far.")
        .def("close", &PyMediaFile::Close, "progress"_a = py::none(),
             "Finishes the file; progress(done, total, stage) is called while the muxer finishes.")
        .def_property_readonly("closed", &PyMediaFile::Closed)
        .def_property_readonly("path", &PyMediaFile::Path)
        .def("__enter__", [](py::object self) { return self; })
        .def("__exit__", [](PyMediaFile& f, const py::object&, const py::object&, const py::object&) {
            f.Close(py::none());
            return false;
        })
        .def("__repr__", &PyMediaFile::Repr);
}
