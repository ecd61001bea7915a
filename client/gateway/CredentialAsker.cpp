#include "gateway/CredentialAsker.h"

#include "common/QuietThread.h"

#include "TaskPause.h"

#include <utility>

namespace zef {

CredentialAsker::CredentialAsker(Answer takeAnswer)
    : answer(std::move(takeAnswer)), thread(StartQuietThread([this] { Run(); }))
{
}

CredentialAsker::~CredentialAsker()
{
    Stop();
}

void CredentialAsker::Ask(const Question &question)
{
    const MutexLock lock(mutex);
    questions.push_back(question);
    wakeUp.NotifyOne();
}

void CredentialAsker::RequestStop()
{
    const MutexLock lock(mutex);
    stopping = true;
    questions.clear();
    wakeUp.NotifyOne();
}

void CredentialAsker::Stop()
{
    RequestStop();
    if (thread.joinable()) {
        thread.join();
    }
}

void CredentialAsker::Run()
{
    for (Question question; Next(question);) {
        std::string cause;
        std::unique_ptr<Credential> credential;
        {
            const TaskPause pause;
            if (IsStopping()) {
                return;
            }
            credential = Credential::Ask(question.callback, question.local, question.array, cause);
        }
        answer(question.linkId, std::move(credential), cause);
    }
}

bool CredentialAsker::Next(Question &question)
{
    const MutexLock lock(mutex);
    while (!stopping && questions.empty()) {
        wakeUp.Wait(mutex);
    }
    if (stopping) {
        return false;
    }
    question = std::move(questions.front());
    questions.pop_front();
    return true;
}

bool CredentialAsker::IsStopping() const
{
    const MutexLock lock(mutex);
    return stopping;
}

}  // namespace zef
