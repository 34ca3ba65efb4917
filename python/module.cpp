// The native half of the Python package: thin calls into the frame API with
// the GIL released. Shapes, dtypes and buffer sizes are checked by the Python
// half (tav/__init__.py); the calls return the library's result code, which
// the Python half turns into tav.Error.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include "tav_api.h"

namespace py = pybind11;

namespace {

// A frame from the Python half's description: (array, format, width, height,
// bit depth, row stride); planes after the first follow it, as they do in the
// array layouts the package takes.
TavFrame frameOf(const py::tuple& d) {
    const auto a = d[0].cast<py::array>();
    TavFrame f;
    tavFrameInit(&f, d[1].cast<uint32_t>(), d[2].cast<int32_t>(), d[3].cast<int32_t>(),
                 const_cast<void*>(a.data()));
    f.bitDepth = d[4].cast<uint32_t>();
    f.stride[0] = d[5].cast<ptrdiff_t>();
    return f;
}

TavOptions optionsOf(uint32_t method, int32_t threads) {
    TavOptions o;
    tavOptionsInit(&o);
    o.method = method;
    o.threads = threads;
    return o;
}

// A table from (mode, width, height, uint32 words).
TavShadingTable tableOf(const py::tuple& t) {
    const auto words = t[3].cast<py::array>();
    return {t[0].cast<uint32_t>(), t[1].cast<int32_t>(), t[2].cast<int32_t>(),
            static_cast<uint32_t*>(const_cast<void*>(words.data()))};
}

}  // namespace

PYBIND11_MODULE(_tav, m) {
    m.doc() = "Native calls of the tav library (use the tav package).";

    m.def("version", [] { return std::string(tavVersion()); });
    m.def("result_text", [](int32_t code) { return std::string(tavResultText(code)); });
    m.def("frame_size", [](uint32_t format, int32_t width, int32_t height) {
        TavFrame f;
        tavFrameInit(&f, format, width, height, nullptr);
        return tavFrameSize(&f);
    });
    m.def("set_num_threads", [](int32_t n) { return tavSetNumThreads(n); });
    m.def("get_num_threads", [] { return tavGetNumThreads(); });

    m.def("demosaic",
          [](const py::tuple& src, const py::tuple& dst, uint32_t method, int32_t threads) {
              const TavFrame s = frameOf(src), d = frameOf(dst);
              const TavOptions o = optionsOf(method, threads);
              py::gil_scoped_release unlocked;
              return tavDemosaic(&s, &d, &o);
          });
    m.def("convert", [](const py::tuple& src, const py::tuple& dst, int32_t threads) {
        const TavFrame s = frameOf(src), d = frameOf(dst);
        const TavOptions o = optionsOf(TAV_METHOD_BILINEAR, threads);
        py::gil_scoped_release unlocked;
        return tavConvert(&s, &d, &o);
    });
    m.def("shading_estimate",
          [](const py::tuple& flat, const py::object& dark, const py::tuple& table) {
              const TavFrame f = frameOf(flat);
              TavFrame k{};
              const bool haveDark = !dark.is_none();
              if (haveDark) k = frameOf(dark.cast<py::tuple>());
              const TavShadingTable t = tableOf(table);
              py::gil_scoped_release unlocked;
              return tavShadingEstimate(&f, haveDark ? &k : nullptr, &t);
          });
    m.def("shading_apply",
          [](const py::tuple& src, const py::tuple& dst, const py::tuple& table, int32_t threads) {
              const TavFrame s = frameOf(src), d = frameOf(dst);
              const TavShadingTable t = tableOf(table);
              const TavOptions o = optionsOf(TAV_METHOD_BILINEAR, threads);
              py::gil_scoped_release unlocked;
              return tavShadingApply(&s, &d, &t, &o);
          });
}
