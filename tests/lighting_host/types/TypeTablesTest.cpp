// The words of each type stand in docs/protocol.md as the tables of the program have them.

#include "lighting_host/types/DriverType.h"

#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace lighting_host;
using testing::UnorderedElementsAreArray;

namespace
{
using Rows = std::vector<std::string>;

// What stands under a headline, up to the next one.
std::string Section(const std::string& headline)
{
    std::ifstream file(LIGHTING_SOURCE_DIR "/docs/protocol.md");
    const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    const std::size_t begin = text.find("\n" + headline + "\n");
    EXPECT_NE(begin, std::string::npos) << headline;
    return text.substr(begin + 1, text.find("\n#", begin + 2) - begin - 1);
}

// The rows of the table in a section, without its head.
Rows DocumentedRows(const std::string& headline)
{
    std::istringstream lines(Section(headline));
    Rows rows;
    for (std::string line; std::getline(lines, line);)
    {
        if (line.rfind("| `", 0) == 0)
            rows.push_back(line);
    }
    return rows;
}

// The same from the tables of all types: types that share a row share a line.
Rows TableRows(std::vector<TypeWord> TypeTables::*words)
{
    std::vector<std::pair<std::string, std::string>> lines;
    for (const DriverType& type : DriverTypes())
    {
        for (const TypeWord& word : type.tables.*words)
        {
            const std::string fields = *word.fields ? fmt::format(" with {}", word.fields) : "";
            const std::string rest = fmt::format(" | `{}`{} | {} |", word.word, fields, word.about);
            auto line = lines.begin();
            while (line != lines.end() && line->second != rest)
                ++line;
            if (line == lines.end())
                lines.emplace_back(fmt::format("| `{}`", type.name), rest);
            else
                line->first += fmt::format(", `{}`", type.name);
        }
    }
    Rows rows;
    for (const auto& line : lines)
        rows.push_back(line.first + line.second);
    return rows;
}

TEST(TypeTablesTest, Queries_StandInTheDocument)
{
    EXPECT_THAT(DocumentedRows("## Queries"),
                UnorderedElementsAreArray(TableRows(&TypeTables::queries)));
}

TEST(TypeTablesTest, Facts_StandInTheDocument)
{
    EXPECT_THAT(DocumentedRows("## Facts"),
                UnorderedElementsAreArray(TableRows(&TypeTables::facts)));
}

// The examples of a type's section use each of its inputs, and no other.
TEST(TypeTablesTest, Inputs_StandInTheDocument)
{
    const std::regex example("`\\{\"(\\w+)\":");
    for (const DriverType& type : DriverTypes())
    {
        std::set<std::string> words;
        for (const TypeWord& input : type.tables.inputs)
            words.insert(input.word);
        if (words.empty())
            continue;
        const std::string text = Section(fmt::format("### `{}`", type.name));
        std::set<std::string> documented;
        for (std::sregex_iterator at(text.begin(), text.end(), example), end; at != end; ++at)
            documented.insert((*at)[1]);
        EXPECT_EQ(documented, words) << type.name;
    }
}
} // namespace
