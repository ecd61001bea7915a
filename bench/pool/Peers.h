// Those that run tasks on one worker: this library's pool, its peers, and the least that hands a task over at all.
//
// Each is constructed with a number of timed tasks in its queue, none of which becomes due, and has Commit, for a task
// that is due at once. Its worker has a processor to itself.
#ifndef ZEF_BENCH_POOL_PEERS_H
#define ZEF_BENCH_POOL_PEERS_H

#include <zef_config/ThreadPool.h>

#include <boost/asio.hpp>

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <future>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include <glib.h>
#include <pthread.h>
#include <sched.h>
#include <uv.h>

constexpr unsigned long kHourMs = 60 * 60 * 1000;

// What tasks are given: the kind of texts that the library commits.
inline const std::string kStorage = "array1";
inline const std::string kAddress = "192.168.10.17";

// What a task calls, with copies of both.
using Function = void (*)(const std::string &storage, const std::string &address);

// A packaged task of a function and copies of its arguments, as ThreadPool::commit makes one.
template <class... More>
std::packaged_task<void()> Package(Function function, const More &...more)
{
    return std::packaged_task<void()>(
        [function, bound = std::tuple<std::string, std::string>(kStorage, kAddress),
         kept = std::tuple<More...>(more...)] { std::apply(function, bound); });
}

inline void Pin(pthread_t thread, long processor)
{
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(static_cast<size_t>(processor), &set);
    pthread_setaffinity_np(thread, sizeof set, &set);
}

// The last processor belongs to the worker, the first one to those who commit.
inline void PinWorker(pthread_t thread)
{
    Pin(thread, sysconf(_SC_NPROCESSORS_ONLN) - 1);
}

inline void PinProducer(pthread_t thread)
{
    Pin(thread, 0);
}

class Ours {
public:
    explicit Ours(size_t queued) : pool(1)
    {
        PinWorker(pool.workers[0].native_handle());
        for (size_t number = 0; number < queued; ++number) {
            CommitTimed(kHourMs + number, "", [](const std::string &, const std::string &) {});
        }
    }

    void Commit(Function function) { (void)pool.commit(0, "", function, kStorage, kAddress); }

    void CommitTimed(unsigned long delay, std::string name, Function function)
    {
        (void)pool.commit(delay, std::move(name), function, kStorage, kAddress);
    }

private:
    ThreadPool pool;
};

// A mutex, a condition variable and a queue. Knows no due times.
class Bare {
public:
    explicit Bare(size_t)
    {
        PinWorker(worker.native_handle());
    }

    ~Bare()
    {
        {
            const std::lock_guard<std::mutex> lock(mutex);
            isStopped = true;
        }
        wakeUp.notify_one();
        worker.join();
    }

    Bare(const Bare &) = delete;
    Bare &operator=(const Bare &) = delete;

    void Commit(Function function)
    {
        std::packaged_task<void()> task = Package(function);
        const std::future<void> future = task.get_future();
        {
            const std::lock_guard<std::mutex> lock(mutex);
            tasks.push_back(std::move(task));
        }
        wakeUp.notify_one();
    }

private:
    void Work()
    {
        std::unique_lock<std::mutex> lock(mutex);
        while (true) {
            wakeUp.wait(lock, [this] { return isStopped || !tasks.empty(); });
            if (isStopped) {
                return;
            }
            std::optional<std::packaged_task<void()>> task(std::move(tasks.front()));
            tasks.pop_front();
            lock.unlock();
            (*task)();
            task.reset();
            lock.lock();
        }
    }

    std::mutex mutex;
    std::condition_variable wakeUp;
    std::deque<std::packaged_task<void()>> tasks;
    bool isStopped = false;
    std::thread worker{[this] { Work(); }};
};

class Asio {
public:
    explicit Asio(size_t queued)
    {
        PinWorker(worker.native_handle());
        for (size_t number = 0; number < queued; ++number) {
            CommitTimed(kHourMs + number, [](const std::string &, const std::string &) {});
        }
    }

    ~Asio()
    {
        io.stop();
        worker.join();
    }

    Asio(const Asio &) = delete;
    Asio &operator=(const Asio &) = delete;

    void Commit(Function function)
    {
        const std::future<void> future = boost::asio::post(io, Package(function));
    }

    // Timers are objects of their own, kept by those who wait for them. For one thread.
    template <class... More>
    void CommitTimed(unsigned long delay, Function function, const More &...more)
    {
        boost::asio::steady_timer &timer = timers.emplace_back(io, std::chrono::milliseconds(delay));
        std::packaged_task<void()> task = Package(function, more...);
        const std::future<void> future = task.get_future();
        timer.async_wait([task = std::move(task)](const boost::system::error_code &error) mutable {
            if (!error) {
                task();
            }
        });
    }

private:
    boost::asio::io_context io{1};
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> guard{io.get_executor()};
    std::deque<boost::asio::steady_timer> timers;
    std::thread worker{[this] { io.run(); }};
};

// A loop is for one thread; others put what they want into a queue of their own, and tell it with a uv_async_t.
class Libuv {
public:
    explicit Libuv(size_t queued) : timers(queued)
    {
        uv_loop_init(&loop);
        uv_async_init(&loop, &async, [](uv_async_t *handle) { static_cast<Libuv *>(handle->data)->RunTasks(); });
        async.data = this;
        for (size_t number = 0; number < queued; ++number) {
            uv_timer_init(&loop, &timers[number]);
            uv_timer_start(&timers[number], [](uv_timer_t *) {}, kHourMs + number, 0);
        }
        worker = std::thread([this] { uv_run(&loop, UV_RUN_DEFAULT); });
        PinWorker(worker.native_handle());
    }

    ~Libuv()
    {
        {
            const std::lock_guard<std::mutex> lock(mutex);
            isStopped = true;
        }
        uv_async_send(&async);
        worker.join();
        uv_loop_close(&loop);
    }

    Libuv(const Libuv &) = delete;
    Libuv &operator=(const Libuv &) = delete;

    void Commit(Function function)
    {
        std::packaged_task<void()> task = Package(function);
        const std::future<void> future = task.get_future();
        {
            const std::lock_guard<std::mutex> lock(mutex);
            tasks.push_back(std::move(task));
        }
        uv_async_send(&async);
    }

private:
    void RunTasks()
    {
        {
            const std::lock_guard<std::mutex> lock(mutex);
            batch.swap(tasks);
            if (isStopped) {
                uv_walk(&loop, [](uv_handle_t *handle, void *) { uv_close(handle, nullptr); }, nullptr);
            }
        }
        for (std::packaged_task<void()> &task : batch) {
            task();
        }
        batch.clear();
    }

    uv_loop_t loop;
    uv_async_t async;
    std::vector<uv_timer_t> timers;
    std::mutex mutex;
    std::vector<std::packaged_task<void()>> tasks;
    std::vector<std::packaged_task<void()>> batch;  // of the worker
    bool isStopped = false;
    std::thread worker;
};

// A pool of one thread. Knows no due times.
class Glib {
public:
    explicit Glib(size_t) : pool(g_thread_pool_new(Run, nullptr, 1, TRUE, nullptr))
    {
        g_thread_pool_push(pool, new std::packaged_task<void()>([] { PinWorker(pthread_self()); }), nullptr);
    }

    ~Glib() { g_thread_pool_free(pool, FALSE, TRUE); }
    Glib(const Glib &) = delete;
    Glib &operator=(const Glib &) = delete;

    void Commit(Function function)
    {
        auto task = std::make_unique<std::packaged_task<void()>>(Package(function));
        const std::future<void> future = task->get_future();
        g_thread_pool_push(pool, task.release(), nullptr);
    }

private:
    static void Run(gpointer data, gpointer)
    {
        const std::unique_ptr<std::packaged_task<void()>> task(static_cast<std::packaged_task<void()> *>(data));
        (*task)();
    }

    GThreadPool *const pool;
};

#endif
