// The records of one log file, and of several merged by time.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <queue>
#include <string>
#include <utility>
#include <vector>

#include "tools/log/line_reader.h"
#include "tools/log/record.h"

namespace ravelo::logview {

// The records of one file. Lines that are none are counted.
class log_source {
  public:
    log_source(std::string path, const sentences &known)
        : path_(std::move(path)), regular_(is_regular_file(path_)), known_(known) {}

    // Opens the file and reads its first record. A regular file is closed again until resume, so
    // that many rotated files don't need many descriptors.
    void begin();
    void resume();
    // Reads the next record. False: there is none; the file is closed.
    bool advance();

    [[nodiscard]] bool has_record() const { return has_record_; }
    [[nodiscard]] const record &current() const { return current_; }
    // The latest time borne by any record up to the current one: the clock may have been set back,
    // but a file keeps its order.
    [[nodiscard]] int64_t reached() const { return reached_; }

    [[nodiscard]] const std::string &path() const { return path_; }
    [[nodiscard]] const std::string &failure() const { return reader_.failure(); }
    [[nodiscard]] uint64_t malformed() const { return malformed_; }
    [[nodiscard]] uint64_t first_malformed() const { return first_malformed_; }
    [[nodiscard]] uint64_t bytes_read() const { return reader_.bytes_read(); }

  private:
    std::string path_;
    bool regular_;
    const sentences &known_;
    line_reader reader_;
    record current_;
    bool has_record_ = false;
    bool suspended_ = false;
    int64_t reached_ = INT64_MIN;
    uint64_t lines_ = 0, malformed_ = 0, first_malformed_ = 0;
};

// The records of several files in the order of time; of those of one moment, the file named first
// comes first.
class merged_logs {
  public:
    merged_logs(const std::vector<std::string> &paths, const sentences &known);

    // The next record, which lives until the next call. Null: the end.
    [[nodiscard]] const record *next();

    [[nodiscard]] const std::vector<std::unique_ptr<log_source>> &sources() const {
        return sources_;
    }
    [[nodiscard]] uint64_t bytes_read() const;

  private:
    struct turn {
        int64_t time;
        size_t source;
        bool operator>(const turn &other) const {
            return time != other.time ? time > other.time : source > other.source;
        }
    };
    std::vector<std::unique_ptr<log_source>> sources_;
    std::priority_queue<turn, std::vector<turn>, std::greater<>> turns_;
    log_source *given_ = nullptr;  // whose record was given out last
    size_t given_place_ = 0;
};

}  // namespace ravelo::logview
