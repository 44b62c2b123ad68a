#include "virtual_projector/live/happenings.h"

#include <string>
#include <utility>

#include "virtual_projector/trace/records.h"

namespace vp {
namespace {

using Json = nlohmann::ordered_json;

Json happening(const Json& record, const char* kind, const std::string& text) {
    return {{"t_us", record.value(record_key::t_us, std::int64_t{0})}, {"kind", kind}, {"text", text}};
}

std::string words_of_call(const Json& record) {
    std::string words = record.value(record_key::call, "") + " " + record.value(record_key::path, "");
    const std::string error = record.value(record_key::error, "");
    if (!error.empty()) words += ": " + error;
    return words;
}

std::string words_of_toast(const Json& record) {
    const std::string means = record.value("means", "");
    return means.empty() ? "toast " + record.value("arguments", Json::array()).dump() : "toast: " + means;
}

const char* name_of(LogKind kind) {
    switch (kind) {
        case LogKind::seen:
            return "seen";
        case LogKind::chosen:
            return "chosen";
        case LogKind::refused:
            return "refused";
        case LogKind::detail:
        case LogKind::nothing:
            break;
    }
    return "detail";
}

}  // namespace

std::optional<Json> Happenings::of_log(const Json& record) {
    LogFormatter& formatter = logs_[record.value(record_key::thread, 0)];
    const LogWords line = formatter.format(record.at("log").get<std::string>());
    if (line.words.empty()) return std::nullopt;
    Json words = happening(record, "log", line.words);
    words["log"] = name_of(line.kind);
    return words;
}

std::optional<Json> Happenings::of(const Json& record) {
    if (record.contains(record_key::event))
        return happening(record, "event", record.at(record_key::event).get<std::string>());
    if (record.contains("log")) return of_log(record);
    if (record.contains("callback")) return happening(record, "toast", words_of_toast(record));
    if (record.contains("state")) {
        Json state = happening(record, "state", "");
        state["values"] = record.at("state");
        return state;
    }
    if (!record.contains(record_key::call)) return std::nullopt;
    const bool is_fault = record.contains("fault");
    std::string words = words_of_call(record);
    if (is_fault) words += " (fault " + record.at("fault").value("did", "") + ")";
    if (words == std::exchange(last_failure_, words)) return std::nullopt;  // tried again and again
    return happening(record, is_fault ? "fault" : "failure", words);
}

}  // namespace vp
