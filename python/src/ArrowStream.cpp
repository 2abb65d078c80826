// SPDX-License-Identifier: BSD-3-Clause

#include "ArrowStream.h"

#include <array>
#include <cerrno>
#include <new>
#include <string>
#include <vector>

namespace tracewell {

namespace {

using Kind = HistoryArrays::Kind;

/// A column: how Arrow calls its type, and where its values lie.
struct Column
{
    std::string format;
    std::string name;
    const void* values = nullptr;
    /// Of texts.
    std::vector<std::int64_t> offsets;
    std::string bytes;
};

struct StreamState
{
    std::shared_ptr<const HistoryArrays> arrays;
    bool isGiven = false;
};

std::vector<Column> columnsOf(const HistoryArrays& arrays)
{
    std::vector<Column> columns;
    columns.push_back({"l", "time", arrays.times.data(), {}, {}});
    const std::string number =
        arrays.wordsEach == 1 ? "L" : "w:" + std::to_string(8 * arrays.wordsEach);
    switch (arrays.kind) {
    case Kind::Real:
        columns.push_back({"g", "value", arrays.reals.data(), {}, {}});
        break;
    case Kind::Text: {
        Column column{"U", "value", nullptr, {0}, {}};
        for (const std::string& text : arrays.texts) {
            column.bytes += text;
            column.offsets.push_back(static_cast<std::int64_t>(column.bytes.size()));
        }
        columns.push_back(std::move(column));
        break;
    }
    default:
        columns.push_back({number, "value", arrays.words.data(), {}, {}});
    }
    if (arrays.kind == Kind::Bits) {
        columns.push_back({number, "unknown", arrays.unknown.data(), {}, {}});
    }
    return columns;
}

// What a consumer is given belongs to it: each structure frees its own parts.

struct SchemaParts
{
    std::string format;
    std::string name;
    std::vector<ArrowSchema*> children;
};

void releaseSchema(ArrowSchema* schema)
{
    auto* const parts = static_cast<SchemaParts*>(schema->private_data);
    for (ArrowSchema* const child : parts->children) {
        if (child->release != nullptr) {
            child->release(child);
        }
        delete child;
    }
    delete parts;
    schema->release = nullptr;
}

void fillSchema(ArrowSchema& schema, const std::string& format, const std::string& name)
{
    auto parts = std::make_unique<SchemaParts>();
    parts->format = format;
    parts->name = name;
    schema = {};
    schema.format = parts->format.c_str();
    schema.name = parts->name.c_str();
    schema.release = releaseSchema;
    schema.private_data = parts.release();
}

struct ArrayParts
{
    std::shared_ptr<const HistoryArrays> arrays;
    Column column;
    std::array<const void*, 3> buffers{};
    std::vector<ArrowArray*> children;
};

void releaseArray(ArrowArray* array)
{
    auto* const parts = static_cast<ArrayParts*>(array->private_data);
    for (ArrowArray* const child : parts->children) {
        if (child->release != nullptr) {
            child->release(child);
        }
        delete child;
    }
    delete parts;
    array->release = nullptr;
}

void fillArray(ArrowArray& array, const std::shared_ptr<const HistoryArrays>& arrays, Column column)
{
    auto parts = std::make_unique<ArrayParts>();
    parts->arrays = arrays;
    parts->column = std::move(column);
    const bool isText = parts->column.format == "U";
    parts->buffers[1] =
        isText ? static_cast<const void*>(parts->column.offsets.data()) : parts->column.values;
    parts->buffers[2] = parts->column.bytes.data();
    array = {};
    array.length = static_cast<std::int64_t>(arrays->size());
    array.n_buffers = parts->column.format == "+s" ? 1 : isText ? 3 : 2;
    array.buffers = parts->buffers.data();
    array.release = releaseArray;
    array.private_data = parts.release();
}

StreamState& stateOf(ArrowArrayStream* stream)
{
    return *static_cast<StreamState*>(stream->private_data);
}

int getSchema(ArrowArrayStream* stream, ArrowSchema* out)
{
    try {
        fillSchema(*out, "+s", "");
        auto* const parts = static_cast<SchemaParts*>(out->private_data);
        for (const Column& column : columnsOf(*stateOf(stream).arrays)) {
            parts->children.push_back(new ArrowSchema{});
            fillSchema(*parts->children.back(), column.format, column.name);
        }
        out->n_children = static_cast<std::int64_t>(parts->children.size());
        out->children = parts->children.data();
        return 0;
    } catch (const std::bad_alloc&) {
        return ENOMEM;
    }
}

int getNext(ArrowArrayStream* stream, ArrowArray* out)
{
    StreamState& state = stateOf(stream);
    *out = {};
    if (state.isGiven) {
        return 0;
    }
    try {
        fillArray(*out, state.arrays, {"+s", {}, nullptr, {}, {}});
        auto* const parts = static_cast<ArrayParts*>(out->private_data);
        for (Column& column : columnsOf(*state.arrays)) {
            parts->children.push_back(new ArrowArray{});
            fillArray(*parts->children.back(), state.arrays, std::move(column));
        }
        out->n_children = static_cast<std::int64_t>(parts->children.size());
        out->children = parts->children.data();
        state.isGiven = true;
        return 0;
    } catch (const std::bad_alloc&) {
        return ENOMEM;
    }
}

const char* getLastError(ArrowArrayStream*)
{
    return "the memory does not suffice";
}

void releaseStream(ArrowArrayStream* stream)
{
    delete static_cast<StreamState*>(stream->private_data);
    stream->release = nullptr;
}

} // namespace

ArrowArrayStream* makeArrowStream(std::shared_ptr<const HistoryArrays> arrays)
{
    auto state = std::make_unique<StreamState>();
    state->arrays = std::move(arrays);
    auto* const stream = new ArrowArrayStream{};
    stream->get_schema = getSchema;
    stream->get_next = getNext;
    stream->get_last_error = getLastError;
    stream->release = releaseStream;
    stream->private_data = state.release();
    return stream;
}

void dropArrowStream(ArrowArrayStream* stream)
{
    if (stream->release != nullptr) {
        stream->release(stream);
    }
    delete stream;
}

} // namespace tracewell
