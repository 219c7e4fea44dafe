#pragma once

#include "lighting_host/types/DriverAdapter.h"
#include "lighting_host/types/TypeTables.h"

#include <string>
#include <vector>

namespace lighting_host
{
// An adapter whose inputs, facts and queries are rows of tables. `Self` is the adapter itself; it
// replaces those of Inputs, Facts and Queries that it has rows for.
template <class Self>
class TabledAdapter : public DriverAdapter
{
public:
    // What checks an input object and returns what is to be done; see DriverAdapter.
    struct InputRow
    {
        TypeWord word;
        Action (Self::*prepare)(Fields& fields);
    };
    // The same for a fact.
    struct FactRow
    {
        TypeWord word;
        Action (Self::*prepare)(const std::string& name, const Json& value);
    };
    // What answers a query.
    struct QueryRow
    {
        TypeWord word;
        Json (Self::*answer)(Fields& fields) const;
    };

    static std::vector<InputRow> Inputs() { return {}; }
    static std::vector<FactRow> Facts() { return {}; }
    static std::vector<QueryRow> Queries() { return {}; }

    // The words of all rows.
    static TypeTables Tables()
    {
        return {WordsOf(Self::Inputs()), WordsOf(Self::Facts()), WordsOf(Self::Queries())};
    }

    Action PrepareInput(const std::string& word, Fields& fields) override
    {
        static const std::vector<InputRow> rows = Self::Inputs();
        const InputRow* const row = Find(rows, word);
        return row ? (static_cast<Self&>(*this).*row->prepare)(fields) : nullptr;
    }

    Action PrepareFact(const std::string& name, const Json& value) override
    {
        static const std::vector<FactRow> rows = Self::Facts();
        const FactRow* const row = Find(rows, name);
        return row ? (static_cast<Self&>(*this).*row->prepare)(name, value) : nullptr;
    }

    bool Query(const std::string& word, Fields& fields, Json& value) override
    {
        static const std::vector<QueryRow> rows = Self::Queries();
        const QueryRow* const row = Find(rows, word);
        if (row)
            value = (static_cast<const Self&>(*this).*row->answer)(fields);
        return row != nullptr;
    }

private:
    template <class Row>
    static const Row* Find(const std::vector<Row>& rows, const std::string& word)
    {
        for (const Row& row : rows)
        {
            if (word == row.word.word)
                return &row;
        }
        return nullptr;
    }

    template <class Row>
    static std::vector<TypeWord> WordsOf(const std::vector<Row>& rows)
    {
        std::vector<TypeWord> words;
        words.reserve(rows.size());
        for (const Row& row : rows)
            words.push_back(row.word);
        return words;
    }
};
} // namespace lighting_host
