#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <sys/types.h>
#include <vector>

namespace lighting_host
{
// Yes-or-no questions that are answered in child processes, as many at once as asked for. A child
// is a copy of this process as it is when the question is put: a house in the middle of its life
// goes on there, and nothing of it comes back but the answer. A driver that crashes there takes
// nobody with it.
//
// Lives on one thread. The children write nothing; they end when this process does.
class ForkedJobs
{
public:
    enum class Answer
    {
        No,
        Yes,
        // The child failed: an exception or a crash.
        None,
    };
    struct Done
    {
        std::size_t id;
        Answer answer;
    };

    // `atOnce` at least 1.
    explicit ForkedJobs(unsigned atOnce) : m_atOnce(atOnce) {}

    // Kills what still runs.
    ~ForkedJobs();
    ForkedJobs(const ForkedJobs&) = delete;
    ForkedJobs& operator=(const ForkedJobs&) = delete;

    // How many processors this process may use, at least 1.
    static unsigned Cores();

    bool IsFull() const { return m_children.size() >= m_atOnce; }
    bool IsEmpty() const { return m_children.empty(); }

    // Puts a question. Not when full. Throws std::system_error when there can be no child.
    void Start(std::size_t id, const std::function<bool()>& question);

    // Waits for the next answer; nothing when no question is open.
    std::optional<Done> Wait();

    // Forgets every open question.
    void KillAll();

private:
    struct Child
    {
        pid_t pid;
        // Its answer comes here; ends with it.
        int pipe;
        std::size_t id;
    };

    const unsigned m_atOnce;
    std::vector<Child> m_children;
};
} // namespace lighting_host
