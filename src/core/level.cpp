#include "level.h"

#include <atomic>

namespace tav {
namespace {
// Relaxed: a level change is made before the calls it is meant for start.
std::atomic<int> gLevel{static_cast<int>(Level::Sse41)};
}  // namespace

Level level() {
    return static_cast<Level>(gLevel.load(std::memory_order_relaxed));
}

void setLevel(Level l) {
    gLevel.store(static_cast<int>(l), std::memory_order_relaxed);
}

}  // namespace tav
