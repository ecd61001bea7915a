/// \file
/// The delayed task pool: one class seen from two sides. The library commits tasks (it instantiates `commit`); the
/// hosting process supplies everything else, so the data members below are part of the interface between the two.
#ifndef ZEF_CONFIG_THREAD_POOL_H
#define ZEF_CONFIG_THREAD_POOL_H

#include "platform/PlatformApi.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

/// A queue of named tasks, taken earliest-due first. commit may be called from any thread, a running task included.
class ZEF_PLATFORM_API ThreadPool {
public:
    /// A task's body: runs the callable that it owns. Cheap to move; call it once.
    class Body {
    public:
        /// Takes the callable over.
        template <class Callable>
        explicit Body(std::unique_ptr<Callable> owned) noexcept : callable(owned.release()), serve(Serve<Callable>)
        {
        }

        /// Leaves one that owns nothing and must not be run.
        Body(Body &&other) noexcept : callable(std::exchange(other.callable, nullptr)), serve(other.serve) {}

        /// Leaves the other one with what this one owned.
        Body &operator=(Body &&other) noexcept
        {
            std::swap(callable, other.callable);
            std::swap(serve, other.serve);
            return *this;
        }

        ~Body()
        {
            if (callable != nullptr) {
                serve(callable, Service::Destroy);
            }
        }

        Body(const Body &) = delete;
        Body &operator=(const Body &) = delete;

        /// Runs it.
        void operator()() const { serve(callable, Service::Run); }

    private:
        enum class Service { Run, Destroy };

        template <class Callable>
        static void Serve(void *pointer, Service service)
        {
            auto *const callable = static_cast<Callable *>(pointer);
            if (service == Service::Run) {
                (*callable)();
            } else {
                delete callable;
            }
        }

        void *callable;
        void (*serve)(void *, Service);
    };

    /// Due time in milliseconds of TimeGetPowerOnMs, or 0 for due at once; name, for diagnostics only; body.
    using Task = std::tuple<int64_t, std::string, Body>;

    /// Puts the task with the smallest due time on top of the heap. Equal due times have no order among themselves.
    struct cmp {
        /// Whether `a` is due after `b`.
        bool operator()(const Task &a, const Task &b) const { return std::get<0>(a) > std::get<0>(b); }
    };

    /// Host: starts that many workers and accepts tasks. A worker runs the top task once its due time is 0 or has come.
    /// Those with due time 0 may be taken from the heap some time before they are run.
    explicit ThreadPool(unsigned char workerCount);

    /// Host: as Clear.
    ~ThreadPool();

    ThreadPool(const ThreadPool &) = delete;
    ThreadPool &operator=(const ThreadPool &) = delete;

    /// Host: stops accepting tasks, drops those that have not begun, and ends the workers.
    void Clear();

    /// Host: milliseconds since power-on, monotonic.
    static uint64_t TimeGetPowerOnMs();

    /// Library: queues f(args...) to run `delay` milliseconds from now, 0 for at once. f and args are copied here, so
    /// the task never sees the caller's objects.
    /// Returns 0 and the future of the result; or -1 when the pool accepts no tasks: the task is then dropped and its
    /// future reports a broken promise. Throws what allocation or locking throws, with the queue unchanged.
    template <class F, class... Args>
    ZEF_PLATFORM_API auto commit(unsigned long delay, std::string name, F &&f, Args &&...args)
        -> std::pair<int, std::future<decltype(f(args...))>>;

    std::vector<Task> tasks;           ///< heap under cmp, see std::push_heap and std::pop_heap
    std::vector<std::thread> workers;  ///< the host's; commit only looks whether there are any
    std::mutex mutex;                  ///< guards tasks
    std::condition_variable wakeUp;    ///< signalled once per committed task
    std::atomic<bool> running;         ///< set while the pool accepts tasks

private:
    /// A function without arguments together with the promise of its result: a std::packaged_task whose parts are
    /// allocated one by one. Each is small enough for glibc to give it back without a lock when another thread than the
    /// one that asked for it does so, as workers do.
    template <class Function>
    struct Call {
        using Result = std::invoke_result_t<Function &>;

        explicit Call(Function &&toCall) : function(std::move(toCall)) {}

        void operator()()
        {
            try {
                if constexpr (std::is_void_v<Result>) {
                    function();
                    promise.set_value();
                } else {
                    promise.set_value(function());
                }
            } catch (...) {
                promise.set_exception(std::current_exception());
            }
        }

        Function function;
        std::promise<Result> promise;
    };
};

template <class F, class... Args>
auto ThreadPool::commit(unsigned long delay, std::string name, F &&f, Args &&...args)
    -> std::pair<int, std::future<decltype(f(args...))>>
{
    using Result = decltype(f(args...));

    auto bound = [function = std::decay_t<F>(std::forward<F>(f)),
                  arguments = std::tuple<std::decay_t<Args>...>(std::forward<Args>(args)...)]() mutable -> Result {
        return std::apply(function, arguments);
    };
    auto call = std::make_unique<Call<decltype(bound)>>(std::move(bound));

    // Looked at without the mutex: a pool that stops in between still receives the task, and drops it by itself.
    if (!running || workers.empty()) {
        // Not left to the promise's destructor, which must not run out of memory.
        std::promise<Result> dropped;
        dropped.set_exception(std::make_exception_ptr(std::future_error(std::future_errc::broken_promise)));
        return {-1, dropped.get_future()};
    }
    std::future<Result> future = call->promise.get_future();
    {
        const std::lock_guard<std::mutex> lock(mutex);
        // Room first: a task that is dropped while its future exists would have to be reported to that one, for which
        // there may be no memory either.
        if (tasks.size() == tasks.capacity()) {
            tasks.reserve(2 * tasks.size() + 1);
        }
        const int64_t dueTime = delay == 0 ? 0 : static_cast<int64_t>(TimeGetPowerOnMs() + delay);
        tasks.emplace_back(dueTime, std::move(name), Body(std::move(call)));
        std::push_heap(tasks.begin(), tasks.end(), cmp());
    }
    wakeUp.notify_one();
    return {0, std::move(future)};
}

#endif
