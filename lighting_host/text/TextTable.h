#pragma once

#include "lighting_host/text/Style.h"

#include <cstddef>
#include <iosfwd>
#include <string>
#include <vector>

namespace lighting_host
{
// A table for a person: rows of cells under heads. Texts are UTF-8, of which each character is
// taken to be one column wide.
//
// A table that is too wide is first written with narrower gaps. Columns that still do not fit go
// below, with the first column repeated. A cell that is too long for a line continues in the next.
class TextTable
{
public:
    enum class Align
    {
        Left,
        Right,
    };
    struct Column
    {
        std::string head;
        Align align = Align::Left;
        // How wide it is at least, where there is room.
        std::size_t least = 0;
    };

    explicit TextTable(std::vector<Column> columns) : m_columns(std::move(columns)) {}

    // A row has a cell for each column.
    void Add(std::vector<std::string> cells) { m_rows.push_back(std::move(cells)); }

    bool IsEmpty() const { return m_rows.empty(); }

    // Writes the table with a blank line before it, in so many columns of the terminal; 0 for as
    // many as it takes.
    void Write(std::ostream& out, std::size_t room, const Style& style) const;

private:
    using Widths = std::vector<std::size_t>;
    Widths WidthsOf(bool close) const;
    void WriteBand(std::ostream& out, const Widths& widths, std::size_t from, std::size_t to,
                   const Style& style) const;
    void WriteRow(std::ostream& out, const std::vector<std::string>& cells, const Widths& widths,
                  std::size_t from, std::size_t to, const Style* head) const;

    std::vector<Column> m_columns;
    std::vector<std::vector<std::string>> m_rows;
};
} // namespace lighting_host
