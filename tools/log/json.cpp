#include "tools/log/civil_time.h"
#include "tools/log/safe_text.h"
#include "tools/log/writer.h"

namespace ravelo::logview {
namespace {

// Builds an object field by field; what is empty or not there is left out.
class object {
  public:
    explicit object(std::string &line) : line_(line) { line_ = '{'; }

    void text(const char *name, std::string_view value) {
        if (value.empty())
            return;
        begin(name);
        line_ += '"';
        append_json(line_, value);
        line_ += '"';
    }
    void number(const char *name, std::optional<int64_t> value) {
        if (!value)
            return;
        begin(name);
        line_ += std::to_string(*value);
    }

  private:
    void begin(const char *name) {
        line_ += line_.size() > 1 ? ",\"" : "\"";
        line_ += name;
        line_ += "\":";
    }
    std::string &line_;
};

class json_writer : public writer {
  public:
    void take(const record &read) override {
        object made(line_);
        made.text("time", read.time ? show_time(*read.time, 'T') : std::string());
        made.number("node", read.node);
        made.text("type", read.type);
        made.number("location", read.location);
        made.text("application", read.application);
        made.text("authid", read.authid);
        made.text("application_id", read.application_id);
        made.number("rule", read.rule);
        made.number("priority", read.priority);
        made.text("reason", read.reason);
        if (read.accounted) {
            made.number("user_cpu", read.user_cpu);
            made.number("system_cpu", read.system_cpu);
        }
        made.text("text", read.text);
        line_ += "}\n";
        put(line_);
    }
    void finish(uint64_t) override {}

  private:
    std::string line_;
};

}  // namespace

std::unique_ptr<writer> make_json() {
    return std::make_unique<json_writer>();
}

}  // namespace ravelo::logview
