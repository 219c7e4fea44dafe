#pragma once

#include <functional>
#include <string>

namespace lighting_host
{
// How a child process ended.
struct ChildEnd
{
    // Whether it came to the end of its work. Else its driver crashed, called exit() or was
    // stopped.
    bool finished = false;
    // As waitpid has it.
    int status = 0;
    // What the work has written to its answer.
    std::string answer;
    // The last that was written to standard error.
    std::string told;
};

// Does some work in a child process, and waits for its end. The child is a copy of this process;
// what it does to itself, a crash included, is nobody else's. It reads and writes nothing of this
// process: standard input is empty, standard output goes nowhere, standard error is kept.
//
// `work` gets a descriptor, to which it may write its answer; what it throws ends the child with
// `finished` false and its words told. The child is killed when this process ends, and when
// `goesOn` gives false, which is asked every 100 ms: then the end is as that of any kill.
//
// Throws std::system_error when there can be no child.
ChildEnd RunInChild(const std::function<void(int answer)>& work,
                    const std::function<bool()>& goesOn);
} // namespace lighting_host
