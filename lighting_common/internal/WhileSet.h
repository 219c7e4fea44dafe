#pragma once

// Sets a flag for as long as this lives, also when what happens meanwhile throws; false afterwards.
// The flag must outlive this.
class WhileSet
{
public:
    explicit WhileSet(bool& flag) : m_flag(flag) { m_flag = true; }
    ~WhileSet() { m_flag = false; }
    WhileSet(const WhileSet&) = delete;
    WhileSet& operator=(const WhileSet&) = delete;

private:
    bool& m_flag;
};
