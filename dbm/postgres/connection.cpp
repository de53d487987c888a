#include "dbm/postgres/connection.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <poll.h>
#include <utility>

#include "dbm/postgres/reply_text.h"

namespace dbm::postgres {

namespace {

using std::chrono::steady_clock;

constexpr int as_binary = 1;

// The keywords and values of a connection; later ones stand above earlier ones, and all of them
// above those of the environment and of services.
struct connection_words {
    std::array<const char *, 7> keywords = {};
    std::array<const char *, 7> values = {};
};

connection_words words_for(const std::string &where, const char *program, const std::string &limit,
                           const std::string &options) {
    const bool is_service = !where.empty() && where.find_first_of("=:") == std::string::npos;
    // Texts are taken as the server has them: a character that can't be converted is no error.
    return {
        .keywords = {"connect_timeout", is_service ? "service" : "dbname", "client_encoding",
                     "application_name", "options", nullptr},
        .values = {limit.c_str(), where.c_str(), "SQL_ASCII", program, options.c_str(), nullptr}};
}

// The server's own limit comes later than ours: it is for statements that we have given up.
std::string options_for(std::chrono::seconds limit, bool limits_transactions) {
    const std::string options =
        "-c search_path=pg_catalog -c role=none -c idle_session_timeout=0"
        " -c idle_in_transaction_session_timeout=0 -c lock_timeout=0"
        " -c default_transaction_isolation=read\\ committed -c default_transaction_read_only=on"
        " -c default_transaction_deferrable=off -c local_preload_libraries= -c exit_on_error=off"
        " -c jit=off -c max_parallel_workers_per_gather=0 -c statement_timeout=" +
        std::to_string((limit.count() + 1) * 1000);
    return limits_transactions ? options + " -c transaction_timeout=0" : options;
}

// The daemon holds its stop signals back while it works.
bool asked_to_stop() {
    sigset_t waiting;
    return sigpending(&waiting) == 0 &&
           (sigismember(&waiting, SIGTERM) == 1 || sigismember(&waiting, SIGINT) == 1);
}

bool starts_or_stops(std::string_view sqlstate) {
    return sqlstate == "57P03";
}

// What kept a connection from being made. Where nobody was reached the server's state is asked for,
// which tells a bad connection string apart; a peer that was reached is not asked again, since that
// would wait for it without looking at the time or at a request to stop.
trouble classify(connection_words words, const PGconn *failed, std::string_view sqlstate,
                 bool reached) {
    if (starts_or_stops(sqlstate))
        return trouble::not_running;
    if (sqlstate.starts_with("53") || sqlstate.starts_with("57"))
        return trouble::gone;
    if (!sqlstate.empty())
        return trouble::refused;
    if (reached)
        return PQconnectionNeedsPassword(failed) != 0 || PQconnectionUsedPassword(failed) != 0
                   ? trouble::refused
                   : trouble::not_running;
    // It can't be interrupted: whoever lets it hang may not do so for long.
    words.values[0] = "2";
    switch (asked_to_stop() ? PQPING_NO_RESPONSE
                            : PQpingParams(words.keywords.data(), words.values.data(), 1)) {
        case PQPING_NO_RESPONSE:
        case PQPING_REJECT:
            return trouble::not_running;
        default:
            return trouble::refused;
    }
}

}  // namespace

std::span<const unsigned char> rows::bytes(int row, int column) const {
    const PGresult *const result = result_.get();
    if (result == nullptr || row < 0 || row >= PQntuples(result) || column < 0 ||
        column >= PQnfields(result) || PQgetisnull(result, row, column) != 0)
        return {};
    const auto *const data =
        reinterpret_cast<const unsigned char *>(PQgetvalue(result, row, column));
    return {data, static_cast<size_t>(PQgetlength(result, row, column))};
}

bool rows::is_copy() const {
    const ExecStatusType status = PQresultStatus(result_.get());
    return status == PGRES_COPY_OUT || status == PGRES_COPY_IN || status == PGRES_COPY_BOTH;
}

bool rows::succeeded() const {
    const ExecStatusType status = PQresultStatus(result_.get());
    return status == PGRES_TUPLES_OK || status == PGRES_COMMAND_OK;
}

std::string_view rows::sqlstate() const {
    const char *const code = PQresultErrorField(result_.get(), PG_DIAG_SQLSTATE);
    return code != nullptr ? code : "";
}

template <typename Number>
std::optional<Number> rows::number(int row, int column) const {
    const std::span<const unsigned char> value = bytes(row, column);
    if (value.size() != sizeof(Number))
        return std::nullopt;
    uint64_t gathered = 0;
    for (const unsigned char byte : value)
        gathered = gathered << 8U | byte;
    return static_cast<Number>(gathered);
}

std::optional<int32_t> rows::int4(int row, int column) const {
    return number<int32_t>(row, column);
}

std::optional<int64_t> rows::int8(int row, int column) const {
    return number<int64_t>(row, column);
}

std::optional<double> rows::float8(int row, int column) const {
    const std::optional<uint64_t> raw = number<uint64_t>(row, column);
    return raw ? std::optional(std::bit_cast<double>(*raw)) : std::nullopt;
}

bool rows::boolean(int row, int column) const {
    const std::span<const unsigned char> value = bytes(row, column);
    return value.size() == 1 && value[0] != 0;
}

std::string_view rows::text(int row, int column) const {
    const std::span<const unsigned char> value = bytes(row, column);
    return {reinterpret_cast<const char *>(value.data()), value.size()};
}

parameter parameter::timestamp(int64_t microseconds) {
    parameter made{std::string(sizeof microseconds, '\0')};
    auto remaining = static_cast<uint64_t>(microseconds);
    for (size_t i = sizeof remaining; i-- > 0; remaining >>= 8U)
        made.bytes_[i] = static_cast<char>(static_cast<unsigned char>(remaining & 0xFFU));
    made.binary_ = true;
    return made;
}

void connection::close() {
    connection_.reset();
    prepared_.clear();
}

// The reply for trouble with the connection itself, which is closed.
reply connection::fail(trouble what) {
    const char *const message = PQerrorMessage(connection_.get());
    reply failed{what, one_line(message), sqlstate_in(message)};
    if (what == trouble::gone)
        failed.text = "the server does not answer within the time limit";
    close();
    return failed;
}

// Whether the time is over, or nearly so since this process is to end.
bool connection::is_over(moment until) const {
    const moment now = steady_clock::now();
    return now >= until || (now - begun_ >= std::chrono::seconds(1) && asked_to_stop());
}

// Waits for the socket. False: the time is over, or the socket is bad.
bool connection::wait(short events, moment until) const {
    constexpr int slice = 100;  // milliseconds, so that a request to stop is seen
    while (!is_over(until)) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - steady_clock::now());
        pollfd peer = {PQsocket(connection_.get()), events, 0};
        const int ready =
            poll(&peer, 1, static_cast<int>(std::clamp<int64_t>(left.count(), 0, slice)));
        if (ready > 0)
            return true;
        if (ready < 0 && errno != EINTR)
            return false;
    }
    return false;
}

// What a server does not know it refuses, so its version is asked first.
reply connection::open(const std::string &where, const char *program, std::chrono::seconds limit) {
    constexpr int first_with_limit = 170000;
    limit_ = limit;
    reply response = start(where, program);
    if (response.what == trouble::none && !limits_transactions_ &&
        PQserverVersion(connection_.get()) >= first_with_limit) {
        limits_transactions_ = true;
        response = start(where, program);
    }
    if (response.what != trouble::none)
        limits_transactions_ = false;  // it may be another server the next time
    return response;
}

reply connection::start(const std::string &where, const char *program) {
    close();
    begun_ = steady_clock::now();
    const moment until = begun_ + limit_;
    const std::string seconds = std::to_string(limit_.count());
    const std::string options = options_for(limit_, limits_transactions_);
    const connection_words words = words_for(where, program, seconds, options);
    connection_.reset(PQconnectStartParams(words.keywords.data(), words.values.data(), 1));
    if (connection_ == nullptr)
        return {trouble::gone, "out of memory", {}};
    (void)PQsetNoticeProcessor(connection_.get(), [](void *, const char *) {}, nullptr);
    // Only a verbose message of a failed connection has its SQLSTATE.
    (void)PQsetErrorVerbosity(connection_.get(), PQERRORS_VERBOSE);
    PostgresPollingStatusType next = PGRES_POLLING_WRITING;
    bool reached = false;
    while (PQstatus(connection_.get()) != CONNECTION_BAD && next != PGRES_POLLING_OK &&
           next != PGRES_POLLING_FAILED) {
        if (!wait(next == PGRES_POLLING_READING ? POLLIN : POLLOUT, until))
            return fail(trouble::gone);
        next = PQconnectPoll(connection_.get());
        reached = reached || PQstatus(connection_.get()) > CONNECTION_STARTED;
    }
    if (PQstatus(connection_.get()) == CONNECTION_OK) {
        (void)PQsetErrorVerbosity(connection_.get(), PQERRORS_DEFAULT);
        if (PQsetnonblocking(connection_.get(), 1) == 0)
            return {};
    }
    const trouble what =
        classify(words, connection_.get(), sqlstate_in(PQerrorMessage(connection_.get())), reached);
    reply failed = fail(trouble::refused);
    failed.what = what;
    return failed;
}

// Waits until a result of what was sent is there, or its end.
reply connection::await(moment until) {
    PGconn *const peer = connection_.get();
    while (true) {
        // Also of one that never stops sending.
        if (is_over(until))
            return fail(trouble::gone);
        const int left = PQflush(peer);
        if (left < 0)
            return fail(trouble::lost);
        if (left == 0 && PQisBusy(peer) == 0)
            return {};
        if (!wait(left > 0 ? POLLIN | POLLOUT : POLLIN, until))
            return fail(trouble::gone);
        if (PQconsumeInput(peer) == 0)
            return fail(trouble::lost);
        while (PGnotify *const unasked = PQnotifies(peer))
            PQfreemem(unasked);
    }
}

// Takes what the server answers to what was sent. The first result counts.
reply connection::collect(moment until, rows &answer) {
    rows first;
    bool ended = false;
    while (!ended) {
        reply response = await(until);
        if (response.what != trouble::none)
            return response;
        rows next;
        next.take(PQgetResult(connection_.get()));
        ended = next.is_empty();
        if (next.is_copy()) {
            close();
            return {trouble::lost, "the server answers a statement with a copy", {}};
        }
        if (first.is_empty())
            first = std::move(next);
    }
    if (first.succeeded()) {
        answer = std::move(first);
        return {};
    }
    reply failed{trouble::statement, one_line(first.error()), std::string(first.sqlstate())};
    if (failed.sqlstate == "57014" || failed.sqlstate.starts_with("53")) {
        failed.what = trouble::gone;  // took too long or found no room: not the statement's fault
    } else if (failed.sqlstate.empty() || failed.sqlstate.starts_with("57P") ||
               failed.sqlstate.starts_with("08") || PQstatus(connection_.get()) == CONNECTION_BAD) {
        failed.what = trouble::lost;
        close();
    }
    return failed;
}

reply connection::prepare(const statement &what, moment until) {
    const bool known = std::any_of(prepared_.begin(), prepared_.end(), [&](const char *name) {
        return std::strcmp(name, what.name) == 0;
    });
    if (known)
        return {};
    prepared_.reserve(prepared_.size() + 1);
    if (PQsendPrepare(connection_.get(), what.name, what.text, 0, nullptr) == 0)
        return fail(trouble::lost);
    rows nothing;
    reply response = collect(until, nothing);
    if (response.what == trouble::none)
        prepared_.push_back(what.name);
    return response;
}

reply connection::ask(const statement &what, std::span<const parameter> parameters, rows &answer) {
    begun_ = steady_clock::now();
    const moment until = begun_ + limit_;
    reply response = prepare(what, until);
    if (response.what != trouble::none)
        return response;
    constexpr size_t most = 4;
    std::array<const char *, most> values = {};
    std::array<int, most> lengths = {};
    std::array<int, most> formats = {};
    const size_t count = std::min(parameters.size(), most);
    for (size_t i = 0; i < count; ++i) {
        values[i] = parameters[i].data();
        lengths[i] = parameters[i].length();
        formats[i] = parameters[i].format();
    }
    if (PQsendQueryPrepared(connection_.get(), what.name, static_cast<int>(count), values.data(),
                            lengths.data(), formats.data(), as_binary) == 0)
        return fail(trouble::lost);
    return collect(until, answer);
}

}  // namespace dbm::postgres
