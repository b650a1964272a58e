#pragma once

#include "support/apitest.h"

#include <cstdint>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

namespace zantest {

/// A `result` of the API and the value that an object has then.
template <class Value>
struct Row {
    std::string result; ///< JSON text
    Value value;
};

/// Objects that share one query: text objects, and those of either numeric type.
struct Objects {
    std::vector<std::string (*)()> texts;
    std::vector<std::uint32_t (*)()> unsigneds = {};
    std::vector<std::int32_t (*)()> integers = {};
};

/// A test of the value providers of one group, which ask for `path`.
class GroupTest : public ApiTest {
protected:
    explicit GroupTest(std::string requestPath) : path(std::move(requestPath)) {}

    /// Checks an object against rows, each in a fresh state of the API. A provider logs nothing: the trace of
    /// the request is all that is in the log.
    template <class Value>
    void expectRows(Value (*provider)(), std::initializer_list<Row<Value>> rows)
    {
        for (const Row<Value>& row : rows) {
            freshResult(row.result);
            takeLog();
            EXPECT_EQ(provider(), row.value) << "result: " << row.result;
            EXPECT_EQ(takeLog(), LogLines{executing(path)}) << "result: " << row.result;
        }
    }

    /// Checks that all objects together make one request, for the group's query, and none logs anything else.
    void expectOneRequest(const Objects& objects);

    /// Checks that all objects have their fallback while the API is down, is refusing, or answers nonsense,
    /// and that each GET asks it again; the log lines are those of the query alone.
    void expectFallbacks(const Objects& objects);

    const std::string path;

private:
    void expectFallbacksWith(const Objects& objects, const std::string& failure);
};

} // namespace zantest
