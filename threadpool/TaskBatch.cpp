#include "TaskBatch.h"

#include "common/Mutex.h"

#include <algorithm>
#include <memory>
#include <new>
#include <tuple>
#include <utility>

namespace zef {

namespace {

using Tasks = std::vector<ThreadPool::Task>;

// All batches there are. Needs no construction: workers may exist before the program's static objects do. The mutex is
// taken last.
struct BatchList {
    Mutex mutex;
    TaskBatch *first ZEF_GUARDED_BY(mutex) = nullptr;
};
BatchList list;

bool IsDueAtOnce(const ThreadPool::Task &task)
{
    return std::get<0>(task) == 0;
}

// Puts the heap's last task where one was taken out, and lets it sink as far as others are due before it. Below the
// hole there is no other.
void FillHole(Tasks &heap, size_t hole)
{
    const ThreadPool::cmp isLater;
    ThreadPool::Task last = std::move(heap.back());
    heap.pop_back();
    if (hole == heap.size()) {
        return;
    }
    for (size_t child = 2 * hole + 1; child < heap.size(); child = 2 * hole + 1) {
        if (child + 1 < heap.size() && isLater(heap[child], heap[child + 1])) {
            ++child;
        }
        if (!isLater(last, heap[child])) {
            break;
        }
        heap[hole] = std::move(heap[child]);
        hole = child;
    }
    heap[hole] = std::move(last);
}

}  // namespace

TaskBatch::TaskBatch(const ThreadPool &ofPool) : pool(ofPool)
{
    const MutexLock lock(list.mutex);
    following = std::exchange(list.first, this);
}

// The rest is destroyed outside of the list: tasks may hold anything.
TaskBatch::~TaskBatch()
{
    LeaveList();
    Destroy(next.exchange(kMost), end);
    Destroy(0, toDrop);
}

void TaskBatch::Destroy(size_t first, size_t behindLast)
{
    for (size_t number = first; number < behindLast; ++number) {
        std::destroy_at(&slots[number].task);
    }
}

void TaskBatch::LeaveList()
{
    const MutexLock lock(list.mutex);
    TaskBatch **place = &list.first;
    while (*place != this) {
        place = &(*place)->following;
    }
    *place = following;
}

// Those that are due at once are next to each other, from the top of the heap downwards. Taken out together, and the
// holes filled from the last to the first, each costs only the part of the way through the heap that lies below all of
// them.
void TaskBatch::Take(Tasks &heap, size_t most)
{
    std::array<size_t, kMost> holes;
    holes[0] = 0;
    size_t count = 1;
    const size_t limit = IsDueAtOnce(heap.front()) ? std::min(most, kMost) : 1;
    for (size_t parent = 0; parent < count; ++parent) {
        const size_t firstChild = 2 * holes[parent] + 1;
        for (size_t child = firstChild; child < std::min(firstChild + 2, heap.size()); ++child) {
            if (count < limit && IsDueAtOnce(heap[child])) {
                holes[count++] = child;
            }
        }
    }
    end = 0;
    next = 0;
    for (size_t taken = 0; taken < count; ++taken) {
        Add(std::move(heap[holes[taken]]));
    }
    while (count > 0) {
        FillHole(heap, holes[--count]);
    }
}

bool TaskBatch::RunNext()
{
    const size_t number = next++;
    if (number >= end) {
        return false;
    }
    ThreadPool::Task &task = slots[number].task;
    std::get<2>(task)();
    std::destroy_at(&task);
    return true;
}

void TaskBatch::TakeRest()
{
    const MutexLock lock(list.mutex);
    for (TaskBatch *batch = list.first; batch != nullptr; batch = batch->following) {
        if (batch != this && &batch->pool == &pool) {
            TakeRestOf(*batch);
        }
    }
    toDrop = std::exchange(end, 0);
}

void TaskBatch::TakeRestOf(TaskBatch &other)
{
    for (size_t number = other.next.exchange(kMost); number < other.end; ++number) {
        Add(std::move(other.slots[number].task));
        std::destroy_at(&other.slots[number].task);
    }
}

void TaskBatch::Add(ThreadPool::Task &&task)
{
    new (&slots[end].task) ThreadPool::Task(std::move(task));
    ++end;
}

}  // namespace zef
