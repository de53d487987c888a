#include <nlohmann/json.hpp>

#include "tools/common/safe_text.h"
#include "tools/log/civil_time.h"
#include "tools/log/writer.h"

namespace ravelo::logview {
namespace {

// Adds a member; what is empty or not there is left out.
void add_text(nlohmann::ordered_json &object, const char *name, std::string_view value) {
    if (!value.empty())
        object[name] = valid_utf8(value);
}

void add_number(nlohmann::ordered_json &object, const char *name, std::optional<int64_t> value) {
    if (value)
        object[name] = *value;
}

class json_writer : public writer {
  public:
    void add(const record &read) override {
        nlohmann::ordered_json object = nlohmann::ordered_json::object();
        add_text(object, "time", read.time ? show_time(*read.time, 'T') : std::string());
        add_number(object, "node", read.node);
        add_text(object, "type", read.type);
        add_number(object, "location", read.location);
        add_text(object, "application", read.application);
        add_text(object, "authid", read.authid);
        add_text(object, "application_id", read.application_id);
        add_number(object, "rule", read.rule);
        add_number(object, "priority", read.priority);
        add_text(object, "reason", read.reason);
        if (read.accounted) {
            add_number(object, "user_cpu", read.user_cpu);
            add_number(object, "system_cpu", read.system_cpu);
        }
        add_text(object, "text", read.text);
        put(escape_hidden(object.dump()) + "\n");
    }
    void finish(uint64_t) override {}
};

}  // namespace

std::unique_ptr<writer> make_json() {
    return std::make_unique<json_writer>();
}

}  // namespace ravelo::logview
