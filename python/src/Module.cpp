// SPDX-License-Identifier: BSD-3-Clause

#include "ArrowStream.h"
#include "runs/LiveRun.h"
#include "runs/OpenRun.h"

#include "draw/RenderedPicture.h"
#include "recorder/OptionValues.h"
#include "recorder/ProgramRecording.h"
#include "text/Failure.h"
#include "values/VcdValues.h"

#include "QsimException.h"

#include <fmt/format.h>
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <cstring>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace py = pybind11;

namespace tracewell {

namespace {

using Quietly = py::call_guard<py::gil_scoped_release>;
using Arrays = std::shared_ptr<HistoryArrays>;

// Arrays.

/// An array of numbers that belong to `owner`: no copy, and nobody can write to it.
template <typename Number>
py::array view(const Number* numbers, std::size_t size, std::size_t columns,
               const py::object& owner)
{
    static const Number kNone{};
    const auto rows = static_cast<py::ssize_t>(columns == 0 ? size : size / columns);
    std::vector<py::ssize_t> shape{rows};
    if (columns > 1) {
        shape.push_back(static_cast<py::ssize_t>(columns));
    }
    py::array array(py::dtype::of<Number>(), shape, size == 0 ? &kNone : numbers, owner);
    array.attr("setflags")(py::arg("write") = false);
    return array;
}

py::object valuesOf(const py::object& self)
{
    const HistoryArrays& arrays = *self.cast<Arrays>();
    switch (arrays.kind) {
    case HistoryArrays::Kind::Real:
        return view(arrays.reals.data(), arrays.reals.size(), 1, self);
    case HistoryArrays::Kind::Text: {
        py::list texts;
        for (const std::string& text : arrays.texts) {
            texts.append(py::reinterpret_steal<py::object>(PyUnicode_DecodeUTF8(
                text.data(), static_cast<py::ssize_t>(text.size()), "surrogateescape")));
        }
        py::object array = py::module_::import("numpy").attr("empty")(texts.size(), "object");
        array[py::slice(std::nullopt, std::nullopt, std::nullopt)] = texts;
        array.attr("setflags")(py::arg("write") = false);
        return array;
    }
    default:
        return view(arrays.words.data(), arrays.words.size(), arrays.wordsEach, self);
    }
}

py::object unknownOf(const py::object& self)
{
    const HistoryArrays& arrays = *self.cast<Arrays>();
    if (arrays.kind != HistoryArrays::Kind::Bits) {
        return py::none();
    }
    return view(arrays.unknown.data(), arrays.unknown.size(), arrays.wordsEach, self);
}

const char* kindText(const HistoryArrays& arrays)
{
    switch (arrays.kind) {
    case HistoryArrays::Kind::Real:
        return "real";
    case HistoryArrays::Kind::Text:
        return "text";
    case HistoryArrays::Kind::Event:
        return "event";
    case HistoryArrays::Kind::Bytes:
        return "bytes";
    default:
        return "bits";
    }
}

constexpr const char* kStreamName = "arrow_array_stream";

py::object arrowStream(const Arrays& arrays)
{
    return py::reinterpret_steal<py::object>(
        PyCapsule_New(makeArrowStream(arrays), kStreamName, [](PyObject* capsule) {
            dropArrowStream(
                static_cast<ArrowArrayStream*>(PyCapsule_GetPointer(capsule, kStreamName)));
        }));
}

void bindHistory(py::module_& module)
{
    py::class_<HistoryArrays, Arrays>(module, "Arrays")
        .def("__len__", &HistoryArrays::size)
        .def_property_readonly("kind", &kindText)
        .def_readonly("width", &HistoryArrays::width)
        .def_property_readonly("times",
                               [](const py::object& self) {
                                   const HistoryArrays& arrays = *self.cast<Arrays>();
                                   return view(arrays.times.data(), arrays.times.size(), 1, self);
                               })
        .def_property_readonly("values", &valuesOf)
        .def_property_readonly("unknown", &unknownOf)
        .def("arrow", &arrowStream);
}

// Reading.

Signal parseSignal(const OpenRun& run, const std::string& name)
{
    return run.signal(name);
}

std::vector<Arrays> histories(const OpenRun& run, const std::vector<Signal>& signals,
                              long long from, long long to)
{
    std::vector<Arrays> shared;
    for (HistoryArrays& arrays : run.histories(signals, from, to)) {
        shared.push_back(std::make_shared<HistoryArrays>(std::move(arrays)));
    }
    return shared;
}

void bindSignal(py::module_& module)
{
    py::class_<Signal>(module, "Declared")
        .def_readonly("name", &Signal::label)
        .def_readonly("kind", &Signal::kind)
        .def_readonly("width", &Signal::width)
        .def_readonly("type", &Signal::type)
        .def_readonly("direction", &Signal::direction)
        .def_property_readonly("signed", [](const Signal& signal) {
            return signal.isSigned || isSignedKeyword(signal.kind);
        });
}

py::tuple search(const OpenRun& run, const SearchRequest& request)
{
    auto answer = [&] {
        const py::gil_scoped_release release;
        return std::make_unique<SearchAnswer>(run.search(request));
    }();
    const SearchAnswer& found = *answer;
    const py::capsule owner(answer.release(),
                            [](void* pointer) { delete static_cast<SearchAnswer*>(pointer); });
    return py::make_tuple(view(found.begins.data(), found.begins.size(), 1, owner),
                          view(found.ends.data(), found.ends.size(), 1, owner), found.names,
                          found.values);
}

py::tuple diff(const OpenRun& run, const OpenRun& other, const std::vector<std::string>& names,
               const std::vector<std::string>& ignored)
{
    DiffAnswer answer;
    {
        const py::gil_scoped_release release;
        answer = run.diff(other, names, ignored);
    }
    py::list differences;
    for (const DiffAnswer::Entry& entry : answer.differences) {
        differences.append(py::make_tuple(entry.signal, entry.time, entry.a, entry.b));
    }
    return py::make_tuple(differences, answer.onlyInA, answer.onlyInB);
}

void bindRun(py::module_& module)
{
    py::class_<SearchRequest>(module, "SearchRequest")
        .def(py::init<>())
        .def_readwrite("expression", &SearchRequest::expression)
        .def_readwrite("on", &SearchRequest::on)
        .def_readwrite("at", &SearchRequest::isSampledAt)
        .def_readwrite("then", &SearchRequest::follower)
        .def_readwrite("within", &SearchRequest::within)
        .def_readwrite("at_least", &SearchRequest::atLeast)
        .def_readwrite("scope", &SearchRequest::scope)
        .def_readwrite("show", &SearchRequest::shown)
        .def_readwrite("start", &SearchRequest::from)
        .def_readwrite("end", &SearchRequest::to)
        .def_readwrite("most", &SearchRequest::most);
    py::class_<OpenRun, std::shared_ptr<OpenRun>>(module, "OpenRun")
        .def(py::init([](const std::string& path, bool beyond) {
                 return std::make_shared<OpenRun>(path, beyond ? Reach::Beyond : Reach::Whole);
             }),
             py::arg("path"), py::arg("beyond") = false, Quietly())
        .def_property_readonly("path", &OpenRun::path)
        .def("timescale",
             [](const OpenRun& run) {
                 const Timescale timescale = run.timeText().timescale();
                 return std::pair(timescale.factor, timescale.exponent);
             })
        .def("timescale_text", [](const OpenRun& run) { return run.timeText().timescaleText(); })
        .def("parse_time",
             [](const OpenRun& run, const std::string& text) {
                 if (!isTimeArgument(text)) {
                     throw py::value_error(whyNoTime(text));
                 }
                 return run.timeText().parse("time", text, Rounding::Down);
             })
        .def("format_time",
             [](const OpenRun& run, long long time) { return run.timeText().format(time); })
        .def("end", &OpenRun::latestTime, Quietly())
        .def("names", &OpenRun::names, Quietly())
        .def("size", &OpenRun::size, Quietly())
        .def("signal", &parseSignal, Quietly())
        .def("select", &OpenRun::select, Quietly())
        .def("value_names", &OpenRun::valueNames, Quietly())
        .def("histories", &histories, Quietly())
        .def("text_at", &OpenRun::textAt, Quietly())
        .def("next_change", &OpenRun::nextChange, Quietly())
        .def("previous_change", &OpenRun::previousChange, Quietly())
        .def("draw", &OpenRun::draw, Quietly())
        .def("search", &search)
        .def("diff", &diff)
        .def("close", &OpenRun::end, Quietly())
        .def("shortfalls", &OpenRun::newShortfalls, Quietly());
    module.def(
        "render", [](const std::string& svg, const std::string& form, const std::string& name) {
            return py::bytes(
                renderPicture(svg, form == "pdf" ? PictureFormat::Pdf : PictureFormat::Png, name));
        });
}

void bindLive(py::module_& module)
{
    py::class_<LiveRun, std::shared_ptr<LiveRun>>(module, "LiveRun")
        .def(py::init([](int channel, const std::string& snapshot, const std::string& directory,
                         const std::string& output) {
                 return std::make_shared<LiveRun>(ChannelPlace{channel, snapshot, directory},
                                                  output);
             }),
             Quietly())
        .def("connect", &LiveRun::connect, Quietly())
        .def("poll", &LiveRun::poll, Quietly())
        .def("run", &LiveRun::run)
        .def("close", &LiveRun::close, Quietly());
}

// Writing.

/// A lock that is never waited for with the interpreter held, since who has it may need that.
class Turn
{
public:
    explicit Turn(std::mutex& mutex) : m_lock(mutex, std::try_to_lock)
    {
        if (!m_lock.owns_lock()) {
            const py::gil_scoped_release release;
            m_lock.lock();
        }
    }

private:
    std::unique_lock<std::mutex> m_lock;
};

/// A recording that any thread may write to.
class SharedRecording
{
public:
    SharedRecording(const std::string& output, const std::string& timescale,
                    const std::string& store, double sync)
    {
        RecorderOptions options;
        options.output = output;
        options.syncSeconds = sync;
        const std::optional<Store> found = findRecorderStore(store);
        if (!found) {
            throw py::value_error(fmt::format("{}: \"{}\" {}", output, store, kNoStore));
        }
        options.store = *found;
        m_recording = std::make_unique<ProgramRecording>(options, parseTimescale(timescale),
                                                         "tracewell " TRACEWELL_VERSION);
    }

    std::uint32_t add(VariableRequest request)
    {
        const Turn turn(m_mutex);
        return m_recording->add(std::move(request));
    }
    void setTime(long long time)
    {
        const Turn turn(m_mutex);
        m_recording->setTime(time);
        check();
    }
    long long time()
    {
        const Turn turn(m_mutex);
        return m_recording->time();
    }
    void set(std::uint32_t variable, const py::object& value);
    void rows(const py::array_t<long long>& times,
              const std::vector<std::pair<std::uint32_t, py::array>>& columns);
    void sync()
    {
        const Turn turn(m_mutex);
        m_recording->sync();
        check();
    }
    void close()
    {
        const Turn turn(m_mutex);
        const py::gil_scoped_release release;
        m_recording->close();
    }

private:
    void check()
    {
        if (const std::string failure = m_recording->takeFailure(); !failure.empty()) {
            throw Failure(failure);
        }
    }
    void setBits(std::uint32_t variable, const py::object& value);

    std::mutex m_mutex;
    std::unique_ptr<ProgramRecording> m_recording;
};

void SharedRecording::set(std::uint32_t variable, const py::object& value)
{
    const Turn turn(m_mutex);
    const ValueKind& kind = m_recording->kindOf(variable);
    if (kind.fires()) {
        m_recording->fire(variable);
    } else if (kind.isText()) {
        if (!m_recording->setText(variable, value.cast<std::string>())) {
            throw py::value_error("a text has no zero byte, and 32 MiB at most");
        }
    } else if (kind.isNumber()) {
        m_recording->setReal(variable, value.cast<double>());
    } else {
        setBits(variable, value);
    }
}

void SharedRecording::setBits(std::uint32_t variable, const py::object& value)
{
    const auto refuse = [&](const std::string& what) {
        throw py::value_error(fmt::format("{}: {}", m_recording->nameOf(variable), what));
    };
    const unsigned int width = m_recording->widthOf(variable);
    if (py::isinstance<py::str>(value)) {
        const auto letters = value.cast<std::string>();
        if (!m_recording->setLetters(variable, letters)) {
            refuse(fmt::format("\"{}\" is not 1 to {} of the letters 0 1 x z u w l h -", letters,
                               width));
        }
        return;
    }
    const py::object number = py::reinterpret_steal<py::object>(PyNumber_Index(value.ptr()));
    if (!number) {
        throw py::error_already_set();
    }
    int isBeyond = 0;
    const long long small = PyLong_AsLongLongAndOverflow(number.ptr(), &isBeyond);
    if (isBeyond == 0) {
        const bool fits =
            width >= 64 || (small >= 0 ? small >> width == 0 : small >= -(1LL << (width - 1)));
        if (!fits) {
            refuse(fmt::format("{} does not fit into {} bits", small, width));
        }
        if (width <= 64) {
            m_recording->setBits(variable, static_cast<std::uint64_t>(small), 0);
            return;
        }
    }
    const std::size_t words = (std::size_t{width} + 63) / 64;
    const py::object bytes = number.attr("to_bytes")(
        8 * words, "little",
        py::arg("signed") = py::bool_(isBeyond == 0 ? small < 0 : isBeyond < 0));
    if (isBeyond != 0 && number.attr("bit_length")().cast<std::size_t>() > width) {
        refuse(fmt::format("the number does not fit into {} bits", width));
    }
    std::vector<std::uint64_t> a(words);
    const std::vector<std::uint64_t> b(words, 0);
    std::memcpy(a.data(), PyBytes_AS_STRING(bytes.ptr()), 8 * words);
    m_recording->setWords(variable, a.data(), b.data());
}

void SharedRecording::rows(const py::array_t<long long>& times,
                           const std::vector<std::pair<std::uint32_t, py::array>>& columns)
{
    struct Column
    {
        std::uint32_t variable;
        py::array_t<std::uint64_t, py::array::c_style | py::array::forcecast> bits;
        py::array_t<double, py::array::c_style | py::array::forcecast> reals;
        const std::uint64_t* bitData = nullptr;
        const double* realData = nullptr;
    };
    const Turn turn(m_mutex);
    const auto moments = py::array_t<long long, py::array::c_style | py::array::forcecast>(times);
    const auto count = static_cast<std::size_t>(moments.size());
    std::vector<Column> sources;
    for (const auto& [variable, array] : columns) {
        const ValueKind& kind = m_recording->kindOf(variable);
        Column column;
        column.variable = variable;
        if (kind.isText() || kind.fires() || m_recording->widthOf(variable) > 64) {
            throw py::type_error(fmt::format("{}: rows take numbers of at most 64 bits",
                                             m_recording->nameOf(variable)));
        }
        if (static_cast<std::size_t>(array.size()) != count) {
            throw py::value_error(fmt::format("{}: {} values for {} times",
                                              m_recording->nameOf(variable), array.size(), count));
        }
        if (kind.isNumber()) {
            column.reals = array;
            column.realData = column.reals.data();
        } else {
            column.bits = array;
            column.bitData = column.bits.data();
        }
        sources.push_back(std::move(column));
    }
    const long long* const moment = moments.data();
    const py::gil_scoped_release release;
    for (std::size_t i = 0; i < count; ++i) {
        m_recording->setTime(moment[i]);
        for (const Column& column : sources) {
            if (column.realData != nullptr) {
                m_recording->setReal(column.variable, column.realData[i]);
            } else {
                m_recording->setBits(column.variable, column.bitData[i], 0);
            }
        }
    }
    check();
}

Direction directionOf(const std::string& word)
{
    for (const Direction direction : {Direction::None, Direction::Input, Direction::Output,
                                      Direction::Inout, Direction::Buffer, Direction::Linkage}) {
        if (spell(direction) == word) {
            return direction;
        }
    }
    throw py::value_error(
        fmt::format("\"{}\" is no direction; write in, out, inout, buffer or linkage", word));
}

void bindRecording(py::module_& module)
{
    py::class_<SharedRecording>(module, "Recording")
        .def(py::init<const std::string&, const std::string&, const std::string&, double>())
        .def("add",
             [](SharedRecording& recording, std::vector<std::string> path, const std::string& kind,
                unsigned int width, const std::optional<std::pair<long long, long long>>& range,
                const std::string& direction, const std::string& type, bool isSigned,
                const std::vector<std::pair<std::string, std::string>>& names) {
                 VariableRequest request;
                 request.name = path.back();
                 path.pop_back();
                 request.scopes = std::move(path);
                 request.kind = kind;
                 request.width = width;
                 if (range) {
                     request.hasRange = true;
                     request.left = range->first;
                     request.right = range->second;
                 }
                 request.direction = directionOf(direction);
                 request.type = type;
                 request.isSigned = isSigned;
                 request.valueNames = names;
                 return recording.add(std::move(request));
             })
        .def("set_time", &SharedRecording::setTime)
        .def("time", &SharedRecording::time)
        .def("set", &SharedRecording::set)
        .def("rows", &SharedRecording::rows)
        .def("sync", &SharedRecording::sync)
        .def("close", &SharedRecording::close);
}

void translate(std::exception_ptr thrown)
{
    try {
        if (thrown) {
            std::rethrow_exception(thrown);
        }
    } catch (const UnknownName& e) {
        PyErr_SetString(PyExc_KeyError, e.text.c_str());
    } catch (const Failure& e) {
        constexpr int kWrongUsage = 2;
        PyErr_SetString(e.exitCode() == kWrongUsage ? PyExc_ValueError : PyExc_OSError, e.what());
    } catch (const Qsim::Exception& e) {
        PyErr_SetString(PyExc_OSError, e.getMessage().c_str());
    }
}

} // namespace

} // namespace tracewell

PYBIND11_MODULE(_tracewell, module)
{
    module.doc() = "The compiled half of the package tracewell.";
    module.attr("version") = TRACEWELL_VERSION;
    py::register_exception_translator(&tracewell::translate);
    tracewell::bindHistory(module);
    tracewell::bindSignal(module);
    tracewell::bindRun(module);
    tracewell::bindLive(module);
    tracewell::bindRecording(module);
}
