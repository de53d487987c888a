// One connection to a PostgreSQL server. Nothing here waits longer than the connection's time
// limit, whatever the server sends, nor longer than a second once this process is asked to end;
// names are looked up by the system, whose limits are its own.
//
// What a database or a role sets for its sessions does not reach this one: every setting that could
// end it, hold it up or lead a name astray is given as a start-up option, which comes last.
#pragma once

#include <chrono>
#include <cstdint>
#include <libpq-fe.h>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace dbm::postgres {

enum class trouble : uint8_t {
    none,
    not_running,  // stopped, starting, recovering or shutting down
    lost,         // the connection was lost while the answer was awaited
    gone,         // the server hangs, or has no room for us just now
    refused,      // it doesn't let us in: password, role, database, or a bad connection string
    elsewhere,    // it lets us in, but its processes are not on this machine
    statement,    // it refused the statement
};

struct reply {
    trouble what = trouble::none;
    std::string text;      // the server's or the client library's own words, one line
    std::string sqlstate;  // empty: none
};

// The rows of an answer, in binary format; every access is checked against the answer itself.
class rows {
  public:
    [[nodiscard]] int count() const { return result_ ? PQntuples(result_.get()) : 0; }

    // A value of that exact type; none where it is null, missing or has another size.
    [[nodiscard]] std::optional<int32_t> int4(int row, int column) const;
    [[nodiscard]] std::optional<int64_t> int8(int row, int column) const;  // also timestamptz
    [[nodiscard]] std::optional<double> float8(int row, int column) const;
    [[nodiscard]] bool boolean(int row, int column) const;  // false: also null

    // A text, empty where it is null or missing. Lives as long as the rows.
    [[nodiscard]] std::string_view text(int row, int column) const;

    void take(PGresult *result) { result_.reset(result); }
    [[nodiscard]] bool is_empty() const { return result_ == nullptr; }  // not even a failure
    [[nodiscard]] bool is_copy() const;  // data in no form of rows follows, or is awaited
    [[nodiscard]] bool succeeded() const;
    [[nodiscard]] const char *error() const { return PQresultErrorMessage(result_.get()); }
    [[nodiscard]] std::string_view sqlstate() const;

  private:
    struct clear_result {
        void operator()(PGresult *result) const { PQclear(result); }
    };
    [[nodiscard]] std::span<const unsigned char> bytes(int row, int column) const;
    template <typename Number>
    [[nodiscard]] std::optional<Number> number(int row, int column) const;

    std::unique_ptr<PGresult, clear_result> result_;
};

// A statement with its parameters' types known to the server. One object per text: the connection
// prepares each once.
struct statement {
    const char *name;
    const char *text;
};

// A parameter, as text or as the eight bytes of a timestamptz.
class parameter {
  public:
    explicit parameter(std::string text) : bytes_(std::move(text)) {}
    [[nodiscard]] static parameter timestamp(int64_t microseconds);

    [[nodiscard]] const char *data() const { return bytes_.c_str(); }
    [[nodiscard]] int length() const { return static_cast<int>(bytes_.size()); }
    [[nodiscard]] int format() const { return binary_ ? 1 : 0; }

  private:
    std::string bytes_;
    bool binary_ = false;
};

class connection {
  public:
    // Connects anew. where: a connection string, a URI or the name of a service; program: what the
    // server is told that we are, a literal. May throw bad_alloc, also all below.
    [[nodiscard]] reply open(const std::string &where, const char *program,
                             std::chrono::seconds limit);

    // Asks one statement. After trouble other than a refused statement the connection is closed.
    [[nodiscard]] reply ask(const statement &what, std::span<const parameter> parameters,
                            rows &answer);

    void close();
    [[nodiscard]] bool is_open() const { return connection_ != nullptr; }
    [[nodiscard]] int socket() const { return PQsocket(connection_.get()); }

  private:
    struct finish_connection {
        void operator()(PGconn *connection) const { PQfinish(connection); }
    };
    using moment = std::chrono::steady_clock::time_point;

    [[nodiscard]] reply start(const std::string &where, const char *program);
    [[nodiscard]] reply prepare(const statement &what, moment until);
    [[nodiscard]] reply await(moment until);
    [[nodiscard]] reply collect(moment until, rows &answer);
    [[nodiscard]] bool is_over(moment until) const;
    [[nodiscard]] bool wait(short events, moment until) const;
    [[nodiscard]] reply fail(trouble what);

    std::unique_ptr<PGconn, finish_connection> connection_;
    std::chrono::seconds limit_{10};
    moment begun_;                        // of the latest opening or asking
    bool limits_transactions_ = false;    // the server has transaction_timeout, from version 17 on
    std::vector<const char *> prepared_;  // names of the statements that this server session knows
};

}  // namespace dbm::postgres
