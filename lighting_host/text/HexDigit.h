#pragma once

namespace lighting_host
{
// The value of a hexadecimal digit in either case, 0 to 15; -1 for any other character.
inline int HexDigit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}
} // namespace lighting_host
