// What every query of the ledger has in common.
#pragma once

#include "sqlite_session.h"

#include <boost/pfr.hpp>
#include <tuple>
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

namespace kivolo::server::sqlite {

/// How a record is read from the database: the `names()` of its columns, the `tables` they are in,
/// and the `fields()` that take them, in the same order.
template<typename Record>
struct Row;

/// A statement that is prepared once, on one connection, and bound to the object, which therefore
/// never moves. `In` is an aggregate of what it takes, in the order in which the text first names
/// that.
template<typename In>
class Statement
{
public:
    Statement(const Statement &) = delete;
    Statement &operator=(const Statement &) = delete;

protected:
    Statement(SqliteConnection &connection, const std::string &text)
        : Statement(connection, text, std::tuple<>())
    {}

    /// `fields` take the columns of a row, in their order.
    template<typename Fields>
    Statement(SqliteConnection &connection, const std::string &text, Fields fields)
        : connection_(connection)
        , statement_(prepared(text, fields))
    {
        auto &backend = static_cast<soci::sqlite3_statement_backend &>(*statement_.get_backend());
        const auto takes = sqlite_api::sqlite3_bind_parameter_count(backend.stmt_);
        const auto gives = sqlite_api::sqlite3_column_count(backend.stmt_);
        if (takes != boost::pfr::tuple_size_v<In> || gives != std::tuple_size_v<Fields>)
            throw std::logic_error("a statement is not as it was declared: " + text);
    }
    ~Statement() = default;

    template<typename Row>
    void forEachRow(In in, Row &&row)
    {
        in_ = std::move(in);
        server::forEachRow(connection_, statement_, row);
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

    SqliteConnection &connection_;
    In in_;
    soci::statement statement_;
};

/// Gives the rows of a record, its `Definition::Out`, that are as `Definition::where` says. All
/// throw LedgerUnavailable.
template<typename Definition>
class Select : Statement<typename Definition::In>
{
public:
    using In = typename Definition::In;
    using Out = typename Definition::Out;

    explicit Select(SqliteConnection &connection)
        : Statement<In>(connection,
                        "SELECT " + Row<Out>::names() + " FROM " + Row<Out>::tables + " WHERE " +
                            Definition::where,
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
template<typename Definition>
class Command : Statement<typename Definition::In>
{
public:
    using In = typename Definition::In;

    explicit Command(SqliteConnection &connection)
        : Statement<In>(connection, Definition::sql)
    {}

    void run(In in)
    {
        this->forEachRow(std::move(in), [] {});
        this->forget(); // a doodle need not be kept until the next
    }
};

} // namespace kivolo::server::sqlite
