#include "lighting_host/text/TextTable.h"

#include <algorithm>
#include <numeric>
#include <ostream>

namespace lighting_host
{
namespace
{
constexpr std::size_t GAP = 2;

bool BeginsCharacter(char c)
{
    return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
}

std::size_t WidthOf(const std::string& text)
{
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), &BeginsCharacter));
}

// Where the first `width` characters of the text end.
std::size_t EndOf(const std::string& text, std::size_t width)
{
    std::size_t at = 0;
    for (; at < text.size(); ++at)
    {
        if (BeginsCharacter(text[at]) && width-- == 0)
            break;
    }
    return at;
}

// The text in lines of at most `width`, broken at blanks where there are any.
std::vector<std::string> Wrap(std::string text, std::size_t width)
{
    std::vector<std::string> lines;
    while (WidthOf(text) > width)
    {
        const std::size_t end = EndOf(text, width);
        const std::size_t blank = text.rfind(' ', end);
        const bool atBlank = blank != std::string::npos && blank > 0;
        lines.push_back(text.substr(0, atBlank ? blank : end));
        text.erase(0, atBlank ? blank + 1 : end);
    }
    lines.push_back(text);
    return lines;
}
} // namespace

TextTable::Widths TextTable::WidthsOf(bool close) const
{
    Widths widths;
    for (std::size_t i = 0; i < m_columns.size(); ++i)
    {
        std::size_t width = std::max(WidthOf(m_columns[i].head), close ? 0 : m_columns[i].least);
        for (const auto& row : m_rows)
            width = std::max(width, WidthOf(row[i]));
        widths.push_back(width);
    }
    return widths;
}

void TextTable::Write(std::ostream& out, std::size_t room, const Style& style) const
{
    Widths widths = WidthsOf(false);
    const auto all = [&widths]
    {
        return std::accumulate(widths.begin(), widths.end(), GAP * (widths.size() - 1));
    };
    if (room == 0 || all() <= room)
        return WriteBand(out, widths, 1, m_columns.size(), style);
    widths = WidthsOf(true);
    // The first column stands in every line, so it leaves half of it to the others.
    widths[0] = std::min(widths[0], std::max<std::size_t>(room / 2 - GAP, 1));
    const std::size_t rest = room - widths[0] - GAP;
    for (std::size_t i = 1; i < widths.size(); ++i)
        widths[i] = std::min(widths[i], rest);
    for (std::size_t from = 1; from < widths.size();)
    {
        std::size_t to = from;
        for (std::size_t used = 0; to < widths.size(); ++to)
        {
            used += widths[to] + (to > from ? GAP : 0);
            if (used > rest)
                break;
        }
        WriteBand(out, widths, from, to, style);
        from = to;
    }
}

void TextTable::WriteBand(std::ostream& out, const Widths& widths, std::size_t from, std::size_t to,
                          const Style& style) const
{
    std::vector<std::string> heads;
    for (const Column& column : m_columns)
        heads.push_back(column.head);
    out << '\n';
    WriteRow(out, heads, widths, from, to, &style);
    for (const auto& row : m_rows)
        WriteRow(out, row, widths, from, to, nullptr);
}

void TextTable::WriteRow(std::ostream& out, const std::vector<std::string>& cells,
                         const Widths& widths, std::size_t from, std::size_t to,
                         const Style* head) const
{
    std::vector<std::size_t> shown = {0};
    for (std::size_t i = from; i < to; ++i)
        shown.push_back(i);
    std::vector<std::vector<std::string>> lines;
    std::size_t height = 1;
    for (const std::size_t i : shown)
    {
        lines.push_back(Wrap(cells[i], widths[i]));
        height = std::max(height, lines.back().size());
    }
    for (std::size_t y = 0; y < height; ++y)
    {
        std::string line;
        for (std::size_t k = 0; k < shown.size(); ++k)
        {
            const std::string text = y < lines[k].size() ? lines[k][y] : std::string();
            const std::string blanks(widths[shown[k]] - WidthOf(text), ' ');
            const bool right = m_columns[shown[k]].align == Align::Right;
            line += k > 0 ? std::string(GAP, ' ') : std::string();
            line += right ? blanks + text : text + blanks;
        }
        line.erase(line.find_last_not_of(' ') + 1);
        out << (head ? head->Head(line) : line) << '\n';
    }
}
} // namespace lighting_host
