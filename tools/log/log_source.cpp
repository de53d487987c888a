#include "tools/log/log_source.h"

#include <algorithm>

namespace ravelo::logview {

void log_source::begin() {
    if (!reader_.open(path_) || !advance() || !regular_)
        return;
    reader_.close();
    suspended_ = true;
}

void log_source::resume() {
    if (!suspended_)
        return;
    suspended_ = false;
    lines_ = malformed_ = first_malformed_ = 0;
    has_record_ = false;
    if (reader_.open(path_))
        (void)advance();  // the same record as in begin, unless the file has changed
}

bool log_source::advance() {
    std::string_view line;
    while (reader_.next(line)) {
        ++lines_;
        if (line.ends_with('\r'))
            line.remove_suffix(1);
        has_record_ = parse_record(line, known_, current_);
        if (has_record_) {
            reached_ = std::max(reached_, current_.time.value_or(reached_));
            return true;
        }
        if (++malformed_ == 1)
            first_malformed_ = lines_;
    }
    has_record_ = false;
    reader_.close();
    return false;
}

merged_logs::merged_logs(const std::vector<std::string> &paths, const sentences &known) {
    for (const std::string &path : paths) {
        sources_.push_back(std::make_unique<log_source>(path, known));
        sources_.back()->begin();
        if (sources_.back()->has_record())
            turns_.push({sources_.back()->reached(), sources_.size() - 1});
    }
}

const record *merged_logs::next() {
    if (given_ != nullptr && given_->advance())
        turns_.push({given_->reached(), given_place_});
    given_ = nullptr;
    while (given_ == nullptr && !turns_.empty()) {
        given_place_ = turns_.top().source;
        turns_.pop();
        log_source *const source = sources_[given_place_].get();
        source->resume();
        if (source->has_record())
            given_ = source;
    }
    return given_ != nullptr ? &given_->current() : nullptr;
}

uint64_t merged_logs::bytes_read() const {
    uint64_t bytes = 0;
    for (const auto &source : sources_)
        bytes += source->bytes_read();
    return bytes;
}

}  // namespace ravelo::logview
