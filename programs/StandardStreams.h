#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <iostream>

/// What every program does about its standard input, output and error.
namespace Programs {

/// To be called first in main. Takes the numbers of those that are closed, so that no file and no
/// socket that is opened later gets them, to be written into as standard output. Using one of them
/// fails as if it were closed still. Ends the program with status 2 when that cannot be done.
inline void occupyClosedStreams() {
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        const bool isOpen = ::fcntl(fd, F_GETFD) >= 0;
        // The wrong way round: a result that nobody gets must not count as written.
        if (!isOpen && ::open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY) != fd) {
            ::_exit(2);
        }
    }
}

/// What main returns: the status; but when not everything got to where standard output goes, says
/// so and returns `lost` instead of success.
inline int finalStatus(const char* program, int status, int lost) {
    if (std::cout.flush()) {
        return status;
    }
    std::cerr << program << ": cannot write to standard output: results are lost" << std::endl;
    return status == 0 ? lost : status;
}

} // namespace Programs
