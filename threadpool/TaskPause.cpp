#include "TaskPause.h"

#include "TaskGate.h"

namespace zef {

TaskPause::TaskPause() : holds(!TaskGate::IsInsideTask())
{
    if (holds) {
        TaskGate::Get().Pause();
    }
}

TaskPause::~TaskPause()
{
    if (holds) {
        TaskGate::Get().Resume();
    }
}

}  // namespace zef
