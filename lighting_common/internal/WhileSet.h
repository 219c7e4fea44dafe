#pragma once

// Sets a flag for as long as this lives, also when what happens meanwhile throws; afterwards it is
// what it was, so that one inside another leaves it set. The flag must outlive this.
class WhileSet
{
public:
    explicit WhileSet(bool& flag) : m_flag(flag), m_before(flag) { m_flag = true; }
    ~WhileSet() { m_flag = m_before; }
    WhileSet(const WhileSet&) = delete;
    WhileSet& operator=(const WhileSet&) = delete;

private:
    bool& m_flag;
    const bool m_before;
};
