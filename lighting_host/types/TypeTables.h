#pragma once

#include <string>
#include <vector>

namespace lighting_host
{
// A word that only some types of drivers know: one row of a table of inputs, facts or queries. The
// documentation of the protocol says the same, row by row, which a test compares.
struct TypeWord
{
    // As it stands in the protocol.
    const char* word;
    // The fields that come with it, as the documentation names them; empty for none.
    const char* fields;
    // What it means, or what a query answers, in a line of Markdown.
    const char* about;
};

// All such words of one type.
struct TypeTables
{
    std::vector<TypeWord> inputs;
    std::vector<TypeWord> facts;
    std::vector<TypeWord> queries;
};
} // namespace lighting_host
