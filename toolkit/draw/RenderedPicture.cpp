// SPDX-License-Identifier: BSD-3-Clause

#include "draw/RenderedPicture.h"

#include "text/Failure.h"

#include <fmt/format.h>

#include <dlfcn.h>

#include <cmath>
#include <cstdint>
#include <memory>

namespace tracewell {

namespace {

// The few functions and records of librsvg, cairo and GLib that are needed, as their binary
// interfaces have them: so the program builds and runs without any of them.
constexpr const char* kLibrary = "librsvg-2.so.2";
constexpr int kFormatArgb32 = 0;
constexpr double kPointsOfPixel = 0.75;
/// cairo has no larger images.
constexpr double kLongestSide = 32767;

struct ErrorRecord
{
    std::uint32_t domain;
    int code;
    char* message;
};

struct Rectangle
{
    double x;
    double y;
    double width;
    double height;
};

using Write = int (*)(void* target, const unsigned char* bytes, unsigned int count);

class Renderer
{
public:
    explicit Renderer(const std::string& path);
    std::string render(const std::string& svg, PictureFormat format);

private:
    template <class Function> void find(Function& function, const char* name)
    {
        function = reinterpret_cast<Function>(::dlsym(m_library, name));
        if (function == nullptr) {
            fail(fmt::format("{} is too old: it has no {}", kLibrary, name));
        }
    }
    [[noreturn]] void fail(const std::string& why) const
    {
        throw Failure(fmt::format("{}: PNG and PDF are made by librsvg, and {}; install it "
                                  "(Debian: librsvg2-2), or write an .svg",
                                  m_path, why));
    }
    void check(int status) const;

    const std::string& m_path;
    /// Never closed: what it brings does not bear that.
    void* m_library;
    void* (*m_open)(const unsigned char*, std::size_t, ErrorRecord**) = nullptr;
    int (*m_getSize)(void*, double*, double*) = nullptr;
    int (*m_render)(void*, void*, const Rectangle*, ErrorRecord**) = nullptr;
    void (*m_release)(void*) = nullptr;
    void* (*m_makeImage)(int, int, int) = nullptr;
    void* (*m_makePdf)(Write, void*, double, double) = nullptr;
    int (*m_writePng)(void*, Write, void*) = nullptr;
    void (*m_finish)(void*) = nullptr;
    int (*m_status)(void*) = nullptr;
    const char* (*m_statusText)(int) = nullptr;
    void (*m_releaseSurface)(void*) = nullptr;
    void* (*m_makeContext)(void*) = nullptr;
    void (*m_releaseContext)(void*) = nullptr;
};

Renderer::Renderer(const std::string& path)
    : m_path(path), m_library(::dlopen(kLibrary, RTLD_NOW | RTLD_LOCAL))
{
    if (m_library == nullptr) {
        fail("it is not there");
    }
    find(m_open, "rsvg_handle_new_from_data");
    find(m_getSize, "rsvg_handle_get_intrinsic_size_in_pixels");
    find(m_render, "rsvg_handle_render_document");
    find(m_release, "g_object_unref");
    find(m_makeImage, "cairo_image_surface_create");
    find(m_makePdf, "cairo_pdf_surface_create_for_stream");
    find(m_writePng, "cairo_surface_write_to_png_stream");
    find(m_finish, "cairo_surface_finish");
    find(m_status, "cairo_surface_status");
    find(m_statusText, "cairo_status_to_string");
    find(m_releaseSurface, "cairo_surface_destroy");
    find(m_makeContext, "cairo_create");
    find(m_releaseContext, "cairo_destroy");
}

void Renderer::check(int status) const
{
    if (status != 0) {
        throw Failure(
            fmt::format("{}: could not be drawn: {}; write an .svg", m_path, m_statusText(status)));
    }
}

int append(void* target, const unsigned char* bytes, unsigned int count)
{
    static_cast<std::string*>(target)->append(reinterpret_cast<const char*>(bytes), count);
    return 0;
}

std::string Renderer::render(const std::string& svg, PictureFormat format)
{
    const auto drawn = [&](int isDone, const ErrorRecord* error) {
        if (isDone == 0) {
            throw Failure(fmt::format("{}: could not be drawn: {}; write an .svg", m_path,
                                      error != nullptr ? error->message : "unknown"));
        }
    };
    ErrorRecord* error = nullptr;
    const std::unique_ptr<void, void (*)(void*)> handle(
        m_open(reinterpret_cast<const unsigned char*>(svg.data()), svg.size(), &error), m_release);
    drawn(handle != nullptr, error);
    Rectangle area{};
    m_getSize(handle.get(), &area.width, &area.height);
    if (format == PictureFormat::Png && std::max(area.width, area.height) > kLongestSide) {
        throw Failure(fmt::format("{}: {:.0f} x {:.0f} pixels are more than a PNG is made "
                                  "of; draw fewer signals, or write an .svg",
                                  m_path, area.width, area.height));
    }

    std::string result;
    if (format == PictureFormat::Pdf) {
        area.width *= kPointsOfPixel;
        area.height *= kPointsOfPixel;
    }
    const std::unique_ptr<void, void (*)(void*)> surface(
        format == PictureFormat::Pdf
            ? m_makePdf(append, &result, area.width, area.height)
            : m_makeImage(kFormatArgb32, static_cast<int>(std::ceil(area.width)),
                          static_cast<int>(std::ceil(area.height))),
        m_releaseSurface);
    check(m_status(surface.get()));
    void* const context = m_makeContext(surface.get());
    const int isDone = m_render(handle.get(), context, &area, &error);
    m_releaseContext(context);
    drawn(isDone, error);
    if (format == PictureFormat::Png) {
        check(m_writePng(surface.get(), append, &result));
    }
    m_finish(surface.get());
    check(m_status(surface.get()));
    return result;
}

} // namespace

std::string renderPicture(const std::string& svg, PictureFormat format, const std::string& path)
{
    return Renderer(path).render(svg, format);
}

} // namespace tracewell
