// The native half of the Python package: thin calls into the C library with
// the GIL released. Argument shapes, dtypes and buffer sizes are checked by the
// Python half (tav/__init__.py) before any of these run.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include "tav.h"

namespace py = pybind11;

namespace {

// The exception type, created once at import (owned by the module).
py::handle errorType;

const char* codeName(int32_t code) {
    switch (code) {
        case TAV_OK:
            return "TAV_OK";
        case TAV_E_LSC_ESTIMATE:
            return "TAV_E_LSC_ESTIMATE";
        case TAV_E_PIXEL_FORMAT:
            return "TAV_E_PIXEL_FORMAT";
        case TAV_E_FORMAT_SIZE:
            return "TAV_E_FORMAT_SIZE";
        case TAV_E_IMAGE_SIZE:
            return "TAV_E_IMAGE_SIZE";
        case TAV_E_PARAMETER:
            return "TAV_E_PARAMETER";
        case TAV_E_NULL_POINTER:
            return "TAV_E_NULL_POINTER";
        case TAV_E_NO_MEMORY:
            return "TAV_E_NO_MEMORY";
        default:
            return "TAV_E_UNKNOWN";
    }
}

void check(const char* call, int32_t code) {
    if (code == TAV_OK) return;
    const std::string name = codeName(code);
    py::object inst = py::reinterpret_borrow<py::object>(errorType)(
        std::string(call) + " failed: " + name + " (" + std::to_string(code) + ")");
    inst.attr("code") = code;
    inst.attr("name") = name;
    PyErr_SetObject(errorType.ptr(), inst.ptr());
    throw py::error_already_set();
}

uint8_t* bytes(py::array& a) {
    return static_cast<uint8_t*>(a.mutable_data());
}
const uint8_t* cbytes(const py::array& a) {
    return static_cast<const uint8_t*>(a.data());
}

// Owns a TavContext; one stream of frames, not shared between threads at once.
class Context {
  public:
    Context() { check("tavCreate", tavCreate(&ctx_)); }
    ~Context() { close(); }
    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;

    void close() {
        if (ctx_) tavRelease(&ctx_);
    }

    void demosaic(const py::array& src, int32_t height, int32_t width, int32_t pitch,
                  uint32_t format, uint32_t method, uint64_t output, py::array& out) {
        if (!ctx_) throw std::runtime_error("context is closed");
        int32_t rc = TAV_OK;
        {
            py::gil_scoped_release unlocked;
            rc = tavDemosaicSetConfig(ctx_, &output);
            if (rc == TAV_OK) {
                // The entry only writes the source for padded 8-bit rows, which
                // the Python side hands over compact.
                TavImage in{height, width, format, const_cast<uint8_t*>(cbytes(src)), pitch};
                TavImage dst{0, 0, 0, bytes(out), 0};
                rc = tavDemosaicing(ctx_, &in, method, &dst);
            }
        }
        check("tavDemosaicing", rc);
    }

    uint64_t outputFormat() const { return ctx_ ? ctx_->outputFormat : 0; }

  private:
    TavContext* ctx_ = nullptr;
};

}  // namespace

PYBIND11_MODULE(_tav, m) {
    m.doc() = "Native calls of the tav library (use the tav package).";
    errorType = PyErr_NewException("tav.Error", PyExc_RuntimeError, nullptr);
    m.attr("Error") = py::reinterpret_borrow<py::object>(errorType);

    py::class_<Context>(m, "Context")
        .def(py::init<>())
        .def("close", &Context::close)
        .def("_demosaic", &Context::demosaic)
        .def_property_readonly("output_format", &Context::outputFormat);

    m.def("_set_num_threads", [](int32_t n) { check("tavSetNumThreads", tavSetNumThreads(n)); });
    m.def("_get_num_threads", [] { return tavGetNumThreads(); });

#ifdef TAV_HAVE_U16
    m.def("_demosaic16", [](const py::array& src, int32_t height, int32_t width, uint32_t format,
                            uint32_t method, uint32_t depth, int64_t output, py::array& out) {
        int32_t rc;
        {
            py::gil_scoped_release unlocked;
            TavDemosaicU16Config config{output, method, depth};
            TavImage in{height, width, format, const_cast<uint8_t*>(cbytes(src)), 2 * width};
            TavImage dst{height, width, static_cast<uint32_t>(output), bytes(out), 0};
            rc = tavDemosaicingU16(&config, &in, &dst);
        }
        check("tavDemosaicingU16", rc);
    });
#endif

#ifdef TAV_HAVE_CONVERT
    m.def("_convert", [](const py::array& src, int32_t height, int32_t width, uint32_t format,
                         uint64_t target, py::array& out) {
        int32_t rc;
        {
            py::gil_scoped_release unlocked;
            TavImage in{height, width, format, const_cast<uint8_t*>(cbytes(src)), 0};
            TavImage dst{height, width, static_cast<uint32_t>(target), bytes(out), 0};
            rc = tavImageTypeConvert(&in, &dst, target);
        }
        check("tavImageTypeConvert", rc);
    });
    m.def("_bmp_adjust", [](py::array& buf, int32_t height, int32_t width) {
        int32_t rc;
        {
            py::gil_scoped_release unlocked;
            TavImage image{height, width, TAV_PF_BGR8, bytes(buf), 3 * width};
            rc = tavBMPAdjust(&image, &image);
        }
        check("tavBMPAdjust", rc);
    });
#endif

#ifdef TAV_HAVE_LSC
    // A parameter record lives in one uint32 array: mode, height, width, then
    // the coefficient words, exactly as the library lays it out.
    m.def("_lsc_estimate", [](const py::array& grey, const py::array& dark, int32_t height,
                              int32_t width, uint32_t mode, uint32_t bits, py::array& record) {
        int32_t rc;
        {
            py::gil_scoped_release unlocked;
            TavLscInput input{mode,
                              bits,
                              width,
                              height,
                              static_cast<const float*>(grey.data()),
                              static_cast<const float*>(dark.data())};
            rc = tavGetLSCParameter(&input, reinterpret_cast<TavLscParameter*>(bytes(record)));
        }
        check("tavGetLSCParameter", rc);
    });
    m.def("_lsc_basic",
          [](const py::array& grey, int32_t height, int32_t width, uint32_t mode, int32_t bits,
             int32_t regions, int32_t blockWidth, float darkLevel, py::array& table) {
              int32_t rc;
              {
                  py::gil_scoped_release unlocked;
                  TavBasicLscInput input{
                      mode,     bits,       regions, width,
                      height,   blockWidth, 16,      static_cast<const float*>(grey.data()),
                      darkLevel};
                  rc = tavGetBasicLSCParameter(&input, bytes(table));
              }
              check("tavGetBasicLSCParameter", rc);
          });
    m.def("_lsc_apply", [](const py::array& src, py::array& dst, int32_t height, int32_t width,
                           uint32_t format, const py::array& record) {
        int32_t rc;
        {
            py::gil_scoped_release unlocked;
            TavImage in{height, width, format, const_cast<uint8_t*>(cbytes(src)), 0};
            TavImage out{height, width, format, bytes(dst), 0};
            rc = tavLSCorrection(&in, &out, static_cast<const TavLscParameter*>(record.data()));
        }
        check("tavLSCorrection", rc);
    });
#endif
}
