#pragma once

namespace embedded_host
{
// Notes for a crash report which driver runs on this thread: the driver's name, the operation ("a
// timer") and its subject, for instance a command's name. The texts must outlive the scope. Scopes
// nest, as calls into drivers do.
class CallScope
{
public:
    explicit CallScope(const char* driver, const char* operation, const char* subject = "")
        : m_driver(driver), m_operation(operation), m_subject(subject), m_outer(Present())
    {
        Present() = this;
    }
    ~CallScope() { Present() = m_outer; }
    CallScope(const CallScope&) = delete;
    CallScope& operator=(const CallScope&) = delete;

    // Null outside every driver. May be asked in a signal handler.
    static const CallScope* Innermost() { return Present(); }

    const char* Driver() const { return m_driver; }
    const char* Operation() const { return m_operation; }
    const char* Subject() const { return m_subject; }

private:
    static const CallScope*& Present();

    const char* m_driver;
    const char* m_operation;
    const char* m_subject;
    const CallScope* m_outer;
};
} // namespace embedded_host
