#include "TaskPause.h"

#include "TaskGate.h"

namespace zef {

TaskPause::TaskPause() : TaskPause(std::chrono::steady_clock::time_point::max())
{
}

TaskPause::TaskPause(std::chrono::steady_clock::time_point until)
    : isInsideTask(TaskGate::IsInsideTask()), isHeld(isInsideTask || TaskGate::Get().Pause(until))
{
}

TaskPause::~TaskPause()
{
    if (isHeld && !isInsideTask) {
        TaskGate::Get().Resume();
    }
}

}  // namespace zef
