// What every query of the ledger has in common.
#pragma once

#include <boost/pfr.hpp>
#include <optional>
#include <soci/soci.h>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

/// What may be NULL.
template<typename Value>
struct soci::type_conversion<std::optional<Value>>
{
    using base_type = Value;

    static void from_base(const Value &in, indicator state, std::optional<Value> &out)
    {
        out = state == i_null ? std::nullopt : std::optional(in);
    }
    static void to_base(const std::optional<Value> &in, Value &out, indicator &state)
    {
        out = in.value_or(Value());
        state = in ? i_ok : i_null;
    }
};

namespace kivolo::server::sql {

/// How a record is read from the database: the `names()` of its columns, the `tables` they are in,
/// and the `fields()` that take them, in the same order.
template<typename Record>
struct Row;

/// A statement that is prepared once, on one connection, and bound to the object, which therefore
/// never moves. `In` is an aggregate of what it takes, in the order in which the text names that,
/// each once.
///
/// `Connection` is an engine's. It has a `session()` of SOCI's, a `forEachRow(statement, row)` that
/// runs a statement of it to its end and throws LedgerUnavailable, and tells whether a statement
/// `takes(statement, parameters, columns)` so many.
template<typename Connection, typename In>
class Statement
{
public:
    Statement(const Statement &) = delete;
    Statement &operator=(const Statement &) = delete;

protected:
    Statement(Connection &connection, const std::string &text)
        : Statement(connection, text, std::tuple<>())
    {}

    /// `fields` take the columns of a row, in their order.
    template<typename Fields>
    Statement(Connection &connection, const std::string &text, Fields fields)
        : connection_(connection)
        , statement_(prepared(text, fields))
    {
        if (!connection.takes(statement_, boost::pfr::tuple_size_v<In>, std::tuple_size_v<Fields>))
            throw std::logic_error("a statement is not as it was declared: " + text);
    }
    ~Statement() = default;

    template<typename Row>
    void forEachRow(In in, Row &&row)
    {
        in_ = std::move(in);
        connection_.forEachRow(statement_, std::forward<Row>(row));
    }
    void forget() { in_ = {}; }

private:
    template<typename Fields>
    soci::statement prepared(const std::string &text, Fields &fields)
    {
        auto statement = connection_.session().prepare << text;
        std::apply([&](auto &...field) { ((statement, soci::into(field)), ...); }, fields);
        boost::pfr::for_each_field(std::as_const(in_),
                                   [&](const auto &field) { statement, soci::use(field); });
        return statement;
    }

    Connection &connection_;
    In in_;
    soci::statement statement_;
};

/// Gives the rows of a record, its `Definition::Out`, that are as `Definition::where` says. All
/// throw LedgerUnavailable.
template<typename Connection, typename Definition>
class Select : Statement<Connection, typename Definition::In>
{
public:
    using In = typename Definition::In;
    using Out = typename Definition::Out;

    explicit Select(Connection &connection)
        : Statement<Connection, In>(connection,
                                    "SELECT " + Row<Out>::names() + " FROM " + Row<Out>::tables +
                                        " WHERE " + Definition::where,
                                    Row<Out>::fields(out_))
    {}

    template<typename Take>
    void forEach(In in, Take &&take)
    {
        this->forEachRow(std::move(in), [&] { take(std::move(out_)); });
    }

    /// The only one.
    std::optional<Out> one(In in)
    {
        std::optional<Out> found;
        forEach(std::move(in), [&](Out row) { found = std::move(row); });
        return found;
    }

    std::vector<Out> all(In in)
    {
        std::vector<Out> rows;
        forEach(std::move(in), [&](Out row) { rows.push_back(std::move(row)); });
        return rows;
    }

private:
    Out out_;
};

/// Does what `Definition::sql` says. Throws LedgerUnavailable.
template<typename Connection, typename Definition>
class Command : Statement<Connection, typename Definition::In>
{
public:
    using In = typename Definition::In;

    explicit Command(Connection &connection)
        : Statement<Connection, In>(connection, Definition::sql)
    {}

    void run(In in)
    {
        this->forEachRow(std::move(in), [] {});
        this->forget(); // a doodle need not be kept until the next
    }
};

} // namespace kivolo::server::sql
