// Passwords typed at a pseudo terminal.
#include "keys/PasswordInput.h"

#include "TestFiles.h"
#include "common/FileDescriptor.h"
#include "keys/KeyError.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <future>
#include <sstream>
#include <thread>

#include <fcntl.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

namespace zef {

namespace {

constexpr int kDone = 0;
constexpr int kRefused = 1;
constexpr const char *kControlC = "\x03";

// A terminal, its user, and a program that reads a password from it.
class PasswordInputTest : public testing::Test {
protected:
    PasswordInputTest() : user(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)), terminal(OpenTerminalOf(user.Get())) {}

    static int OpenTerminalOf(int userEnd)
    {
        EXPECT_EQ(grantpt(userEnd), 0);
        EXPECT_EQ(unlockpt(userEnd), 0);
        return open(ptsname(userEnd), O_RDWR | O_NOCTTY | O_CLOEXEC);
    }

    bool EchoIsOn() const
    {
        termios settings = {};
        EXPECT_EQ(tcgetattr(terminal.Get(), &settings), 0);
        return (settings.c_lflag & ECHO) != 0;
    }

    // What is typed before the echo goes off is dropped, so everything is typed after. False when it stays on for half
    // a minute.
    bool AwaitSilence() const
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (EchoIsOn()) {
            if (std::chrono::steady_clock::now() > deadline) {
                return false;
            }
            std::this_thread::yield();
        }
        return true;
    }

    void Type(const std::string &text) const
    {
        ASSERT_EQ(write(user.Get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }

    // What the program makes of that typing: the password, or why there is none.
    std::string ReadTyped(const std::string &typed) { return ReadTyped(typed, &PasswordInput::Read); }

    std::string ReadTyped(const std::string &typed, SecretBuffer (PasswordInput::*read)())
    {
        auto result = std::async(std::launch::async, [this, read] {
            try {
                PasswordInput input(terminal.Get(), prompts);
                return BytesOf((input.*read)());
            } catch (const KeyError &error) {
                return std::string("refused: ") + error.what();
            }
        });
        EXPECT_TRUE(AwaitSilence());
        Type(typed);
        return result.get();
    }

    // Starts a program whose controlling terminal this is; it ends with kDone or kRefused.
    pid_t StartChild() const
    {
        const pid_t child = fork();
        if (child == 0) {
            setsid();
            ioctl(terminal.Get(), TIOCSCTTY, 0);
            std::ostringstream prompt;
            try {
                (void)PasswordInput(terminal.Get(), prompt).Read();
                _exit(kDone);
            } catch (const KeyError &) {
                _exit(kRefused);
            }
        }
        return child;
    }

    static int StatusOf(pid_t child)
    {
        int status = -1;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        return status;
    }

    // What the terminal has shown so far.
    std::string Shown() const
    {
        fcntl(user.Get(), F_SETFL, O_NONBLOCK);
        char text[4096];
        const ssize_t size = read(user.Get(), text, sizeof(text));
        return {text, size > 0 ? static_cast<size_t>(size) : 0};
    }

    FileDescriptor user;
    FileDescriptor terminal;
    std::ostringstream prompts;
};

}  // namespace

TEST_F(PasswordInputTest, AsksTwice)
{
    EXPECT_EQ(ReadTyped("secret\nsecret\n"), "secret");
    EXPECT_EQ(prompts.str(), "Password: \nOnce more: \n");
}

TEST_F(PasswordInputTest, AsksOnceForAPasswordThatIsKnown)
{
    EXPECT_EQ(ReadTyped("secret\n", &PasswordInput::ReadOnce), "secret");
    EXPECT_EQ(prompts.str(), "Password: \n");
    EXPECT_EQ(Shown(), "");
    EXPECT_TRUE(EchoIsOn());
}

TEST_F(PasswordInputTest, ShowsNothingOfThePassword)
{
    EXPECT_EQ(ReadTyped("secret\nsecret\n"), "secret");
    EXPECT_EQ(Shown(), "");
}

TEST_F(PasswordInputTest, SwitchesTheEchoOnAgain)
{
    ASSERT_TRUE(EchoIsOn());
    ReadTyped("secret\nsecret\n");
    EXPECT_TRUE(EchoIsOn());
}

TEST_F(PasswordInputTest, RefusesTwoDifferentAnswers)
{
    EXPECT_EQ(ReadTyped("secret\nsecreT\n"), "refused: the two passwords differ");
    EXPECT_EQ(ReadTyped("secret\nsecrets\n"), "refused: the two passwords differ");
    EXPECT_TRUE(EchoIsOn());
}

TEST_F(PasswordInputTest, LetsTheUserCorrectTheLine)
{
    EXPECT_EQ(ReadTyped("wrong\x15secre\x7f" "et\nsecret\n"), "secret");
}

TEST_F(PasswordInputTest, TakesTheEndOfTheInputForTheEndOfTheLine)
{
    EXPECT_EQ(ReadTyped("\x04\x04"), "");
}

TEST_F(PasswordInputTest, RefusesALineThatIsTooLongAndDropsItsRest)
{
    EXPECT_EQ(ReadTyped(std::string(600, 'p') + "\n"), "refused: the password is longer than 511 bytes");
    EXPECT_TRUE(EchoIsOn());
    int left = -1;
    ASSERT_EQ(ioctl(terminal.Get(), FIONREAD, &left), 0);
    EXPECT_EQ(left, 0);
}

TEST_F(PasswordInputTest, TakesTheLongestPassword)
{
    const std::string password(511, 'p');
    EXPECT_EQ(ReadTyped(password + "\n" + password + "\n"), password);
}

TEST_F(PasswordInputTest, PutsTheTerminalRightBeforeControlCEndsTheProgram)
{
    const pid_t child = StartChild();
    ASSERT_TRUE(AwaitSilence());
    Type(kControlC);
    const int status = StatusOf(child);
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGINT);
    EXPECT_TRUE(EchoIsOn());
}

TEST_F(PasswordInputTest, PutsTheTerminalRightBeforeAnySignalEndsTheProgram)
{
    for (const int signal : {SIGTERM, SIGHUP, SIGQUIT}) {
        const pid_t child = StartChild();
        ASSERT_TRUE(AwaitSilence());
        kill(child, signal);
        const int status = StatusOf(child);
        EXPECT_TRUE(WIFSIGNALED(status)) << signal;
        EXPECT_EQ(WTERMSIG(status), signal);
        EXPECT_TRUE(EchoIsOn()) << signal;
    }
}

TEST_F(PasswordInputTest, IsInterruptedInTheMiddleOfTheSecondAnswer)
{
    const pid_t child = StartChild();
    ASSERT_TRUE(AwaitSilence());
    Type("secret\nsec");
    Type(kControlC);
    EXPECT_EQ(WTERMSIG(StatusOf(child)), SIGINT);
    EXPECT_TRUE(EchoIsOn());
}

TEST_F(PasswordInputTest, FailsWhenAnIgnoredSignalComes)
{
    const auto before = std::signal(SIGINT, SIG_IGN);
    const pid_t child = StartChild();
    std::signal(SIGINT, before);
    ASSERT_TRUE(AwaitSilence());
    Type(kControlC);
    const int status = StatusOf(child);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), kRefused);
    EXPECT_TRUE(EchoIsOn());
}

TEST_F(PasswordInputTest, TakesOneLineFromAPipeAndLeavesTheRest)
{
    int ends[2] = {-1, -1};
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const FileDescriptor reading(ends[0]);
    const FileDescriptor writing(ends[1]);
    ASSERT_EQ(write(writing.Get(), "secret\nrest", 11), 11);
    EXPECT_EQ(BytesOf(PasswordInput(reading.Get(), prompts).Read()), "secret");
    char rest[16] = {};
    EXPECT_EQ(read(reading.Get(), rest, sizeof(rest)), 4);
    EXPECT_STREQ(rest, "rest");
    EXPECT_EQ(prompts.str(), "");
}

}  // namespace zef
