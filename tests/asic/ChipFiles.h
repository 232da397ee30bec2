// Chip files for tests: a directory that goes with the test, and processes that share the chip.
#pragma once

#include "asic/SoftwareAsic.h"

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace asic_test {

class Directory {
  public:
    Directory() {
        std::string name = std::filesystem::temp_directory_path() / "asic-test.XXXXXX";
        if (!::mkdtemp(name.data()))
            std::abort();
        path_ = name;
    }
    ~Directory() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    Directory(const Directory&) = delete;
    Directory& operator=(const Directory&) = delete;

    std::string file(const std::string& name = "chip") const { return path_ / name; }
    std::size_t count() const {
        return static_cast<std::size_t>(
            std::distance(std::filesystem::directory_iterator(path_), {}));
    }

  private:
    std::filesystem::path path_;
};

/// Runs the function in a process of its own, which begins with a fresh library and exits with what
/// the function returns. It is ended by SIGALRM should it hang.
inline pid_t startProcess(const std::function<int()>& function) {
    const pid_t pid = ::fork();
    if (pid != 0)
        return pid;
    ::alarm(120);
    velmor_asic_reset();
    ::_exit(function());
}

/// 0 and above: the exit status; below: minus the signal that ended the process.
inline int endOf(pid_t pid) {
    int status = 0;
    if (::waitpid(pid, &status, 0) != pid)
        return 255;
    return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
}

inline int runProcess(const std::function<int()>& function) {
    return endOf(startProcess(function));
}

/// A process that answers questions, each of one letter, until the object goes.
class OtherProcess {
  public:
    using Answer = std::function<std::string(char question)>;

    explicit OtherProcess(const Answer& answer) {
        int questions[2];
        int answers[2];
        if (::pipe(questions) != 0 || ::pipe(answers) != 0)
            std::abort();
        pid_ = startProcess([&] {
            ::close(questions[1]);
            ::close(answers[0]);
            return serve(answer, questions[0], answers[1]);
        });
        ::close(questions[0]);
        ::close(answers[1]);
        toIt_ = questions[1];
        fromIt_ = answers[0];
    }
    ~OtherProcess() {
        ::close(toIt_);
        ::close(fromIt_);
        if (pid_ > 0)
            endOf(pid_);
    }
    OtherProcess(const OtherProcess&) = delete;
    OtherProcess& operator=(const OtherProcess&) = delete;

    void post(char question) { static_cast<void>(::write(toIt_, &question, 1) == 1); }
    /// The next answer; "(gone)" if the process has ended.
    std::string answer() {
        std::size_t size = 0;
        if (!readAll(fromIt_, &size, sizeof size))
            return "(gone)";
        std::string text(size, '\0');
        return readAll(fromIt_, text.data(), size) ? text : "(gone)";
    }
    std::string ask(char question) {
        post(question);
        return answer();
    }
    /// See endOf().
    int end() {
        const pid_t pid = pid_;
        pid_ = 0;
        return endOf(pid);
    }
    bool isAlive() const { return ::waitpid(pid_, nullptr, WNOHANG) == 0; }

    /// For the process itself: an answer ahead of the one that it returns.
    static void say(int descriptor, const std::string& text) {
        const std::size_t size = text.size();
        if (::write(descriptor, &size, sizeof size) < 0 ||
            ::write(descriptor, text.data(), size) < 0)
            ::_exit(2);
    }

  private:
    static bool readAll(int descriptor, void* memory, std::size_t size) {
        auto* at = static_cast<char*>(memory);
        while (size != 0) {
            const ssize_t got = ::read(descriptor, at, size);
            if (got <= 0)
                return false;
            at += got;
            size -= static_cast<std::size_t>(got);
        }
        return true;
    }
    static int serve(const Answer& answer, int questions, int answers) {
        for (char question = 0; readAll(questions, &question, 1);)
            say(answers, answer(question));
        return 0;
    }

    pid_t pid_ = 0;
    int toIt_ = -1;
    int fromIt_ = -1;
};

} // namespace asic_test
