// The worker pool behind parallelRows, and the thread count.
//
// One job at a time runs on the pool: a caller that finds the pool taken runs
// all its bands itself, so many callers never wait on one another and never
// run more threads than the count allows. Workers are started on the first
// multi-band call and kept; they are joined when the library is unloaded or
// the process exits. A forked child forgets its parent's workers (they do not
// exist in it) and starts its own on its first multi-band call.
#include "threads.h"

#include <immintrin.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>

#include "tav.h"

namespace tav {
namespace {

// More workers than this never pay on a frame; it also bounds the handle array.
constexpr int32_t kMaxThreads = 256;
constexpr int32_t kBandsPerThread = 4;

int32_t onlineCores() {
    const long n = sysconf(_SC_NPROCESSORS_ONLN);
    return n < 1 ? 1 : static_cast<int32_t>(std::min<long>(n, kMaxThreads));
}

// 0 means every online core; larger counts than the pool can hold are capped.
int32_t resolve(int32_t n) {
    return n == 0 ? onlineCores() : std::min(n, kMaxThreads);
}

int32_t fromEnvironment() {
    const char* text = std::getenv("TAV_NUM_THREADS");
    if (text == nullptr || *text == '\0') return 1;
    char* end = nullptr;
    const long n = std::strtol(text, &end, 10);
    if (*end != '\0' || n < 0 || n > kMaxThreads) return 1;
    return resolve(static_cast<int32_t>(n));
}

std::atomic<int32_t> gThreads{fromEnvironment()};
// A caller's count for its current call, 0 when none is set.
thread_local int32_t tCallThreads = 0;
std::atomic<int32_t> gBandUnits{0};

// One multi-band call: bands are taken by counter; `workers` counts the
// workers inside it, and the caller leaves only when none is.
struct Job {
    detail::BandFn call;
    void* fn;
    uint8_t* scratch;  // scratchBytes for each band after the first
    size_t scratchBytes;
    int32_t units, bands;
    int32_t workerLimit;  // workers that may join: the thread count less the caller
    int32_t workers;      // guarded by Pool::lock
    std::atomic<int32_t> next;
};

void runTaken(Job& job) {
    for (int32_t b; (b = job.next.fetch_add(1, std::memory_order_relaxed)) < job.bands;) {
        // Bands as even as the units allow; the first ones take the remainder.
        const int32_t base = job.units / job.bands, extra = job.units % job.bands;
        const int32_t begin = b * base + std::min(b, extra);
        uint8_t* scratch = b == 0 ? nullptr : job.scratch + (b - 1) * job.scratchBytes;
        job.call(job.fn, begin, begin + base + (b < extra ? 1 : 0), scratch);
    }
    _mm_sfence();  // streamed stores of the bands, before the hand-back
}

struct Pool {
    pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t wake = PTHREAD_COND_INITIALIZER;  // workers: a job or stop
    pthread_cond_t left = PTHREAD_COND_INITIALIZER;  // caller: a worker left its job
    std::atomic<bool> taken{false};                  // a caller owns the pool
    Job* job = nullptr;
    uint64_t generation = 0;
    bool stop = false;
    int32_t started = 0;
    pthread_t handles[kMaxThreads];
    uint8_t* scratch = nullptr;  // the bands' buffers, used by the caller owning the pool
    size_t scratchBytes = 0;

    ~Pool() {
        shutDown();
        std::free(scratch);
    }

    // Caller holds `taken`: room for `bytes`, kept for later frames.
    bool reserve(size_t bytes) {
        if (bytes <= scratchBytes) return true;
        void* grown = std::realloc(scratch, bytes);
        if (grown == nullptr) return false;
        scratch = static_cast<uint8_t*>(grown);
        scratchBytes = bytes;
        return true;
    }

    void shutDown() {
        pthread_mutex_lock(&lock);
        stop = true;
        pthread_cond_broadcast(&wake);
        pthread_mutex_unlock(&lock);
        for (int32_t i = 0; i < started; ++i) pthread_join(handles[i], nullptr);
        started = 0;
    }

    void work() {
        uint64_t seen = 0;
        pthread_mutex_lock(&lock);
        for (;;) {
            while (!stop && (job == nullptr || seen == generation)) pthread_cond_wait(&wake, &lock);
            if (stop) break;
            seen = generation;
            Job* j = job;
            if (j->workers >= j->workerLimit) continue;
            ++j->workers;
            pthread_mutex_unlock(&lock);
            runTaken(*j);
            pthread_mutex_lock(&lock);
            if (--j->workers == 0) pthread_cond_signal(&left);
        }
        pthread_mutex_unlock(&lock);
    }

    // Caller holds `taken`: starts workers up to `count`, as many as it can.
    void startWorkers(int32_t count) {
        while (started < count) {
            if (pthread_create(&handles[started], nullptr, entry, this) != 0) break;
            ++started;
        }
    }

    static void* entry(void* self) {
        static_cast<Pool*>(self)->work();
        return nullptr;
    }

    // After fork, in the child: only the forking thread exists, and it was
    // not inside a job (fork is not called from a band).
    void forget() {
        lock = PTHREAD_MUTEX_INITIALIZER;
        wake = PTHREAD_COND_INITIALIZER;
        left = PTHREAD_COND_INITIALIZER;
        taken.store(false, std::memory_order_relaxed);
        job = nullptr;
        stop = false;
        started = 0;
    }
};

Pool gPool;

void beforeFork() {
    pthread_mutex_lock(&gPool.lock);
}
void afterForkParent() {
    pthread_mutex_unlock(&gPool.lock);
}
void afterForkChild() {
    gPool.forget();
}

// Registered once, with the first workers.
void watchForks() {
    static const bool registered = pthread_atfork(beforeFork, afterForkParent, afterForkChild) == 0;
    (void)registered;
}

}  // namespace

int32_t numThreads() {
    return tCallThreads > 0 ? tCallThreads : gThreads.load(std::memory_order_relaxed);
}

ThreadCountScope::ThreadCountScope(int32_t threads) : saved_(tCallThreads) {
    if (threads > 0) tCallThreads = resolve(threads);
}

ThreadCountScope::~ThreadCountScope() {
    tCallThreads = saved_;
}

void setBandUnits(int32_t units) {
    gBandUnits.store(units, std::memory_order_relaxed);
}

namespace detail {

int32_t bandCount(int32_t units, int32_t minUnits) {
    const int32_t threads = numThreads();
    if (threads <= 1 || units <= 1) return 1;
    const int32_t forced = gBandUnits.load(std::memory_order_relaxed);
    const int32_t least = std::max(1, forced > 0 ? forced : minUnits);
    // A few bands a thread: a worker the system holds back leaves less to wait for.
    return std::max(1, std::min(threads * kBandsPerThread, units / least));
}

bool runBands(int32_t units, int32_t bands, size_t scratchBytes, BandFn call, void* fn) {
    Job job{call, fn, nullptr, scratchBytes, units, bands, bands - 1, 0, {0}};
    Pool& pool = gPool;
    if (pool.taken.exchange(true, std::memory_order_acquire)) {
        // Another caller's bands are on the workers: do ours here, in one band
        // when they need the pool's buffers.
        if (scratchBytes > 0) return false;
        runTaken(job);
        return true;
    }
    if (scratchBytes > 0) {
        if (!pool.reserve(scratchBytes * static_cast<size_t>(bands - 1))) {
            pool.taken.store(false, std::memory_order_release);
            return false;
        }
        job.scratch = pool.scratch;
    }
    watchForks();
    pool.startWorkers(std::min(numThreads(), kMaxThreads) - 1);
    pthread_mutex_lock(&pool.lock);
    pool.job = &job;
    ++pool.generation;
    pthread_cond_broadcast(&pool.wake);
    pthread_mutex_unlock(&pool.lock);

    runTaken(job);

    pthread_mutex_lock(&pool.lock);
    pool.job = nullptr;  // no worker joins from here on
    while (job.workers > 0) pthread_cond_wait(&pool.left, &pool.lock);
    pthread_mutex_unlock(&pool.lock);
    pool.taken.store(false, std::memory_order_release);
    return true;
}

}  // namespace detail
}  // namespace tav

extern "C" {

int32_t tavSetNumThreads(int32_t n) {
    if (n < 0) return TAV_E_PARAMETER;
    tav::gThreads.store(tav::resolve(n), std::memory_order_relaxed);
    return TAV_OK;
}

int32_t tavGetNumThreads(void) {
    return tav::numThreads();
}

}  // extern "C"
