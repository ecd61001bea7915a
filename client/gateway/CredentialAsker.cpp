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
    const std::lock_guard<std::mutex> lock(mutex);
    questions.push_back(question);
    wakeUp.notify_one();
}

void CredentialAsker::RequestStop()
{
    const std::lock_guard<std::mutex> lock(mutex);
    stopping = true;
    questions.clear();
    wakeUp.notify_one();
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
    std::unique_lock<std::mutex> lock(mutex);
    wakeUp.wait(lock, [this] { return stopping || !questions.empty(); });
    if (stopping) {
        return false;
    }
    question = std::move(questions.front());
    questions.pop_front();
    return true;
}

bool CredentialAsker::IsStopping() const
{
    const std::lock_guard<std::mutex> lock(mutex);
    return stopping;
}

}  // namespace zef
