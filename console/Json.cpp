#include "console/Json.h"
#include "framework/Text.h"

#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>

namespace {

using Json = nlohmann::ordered_json;

Json ToJson(const Value& value) {
    if (const auto* truth = value.As<bool>()) return *truth;
    if (const auto* number = value.As<std::int64_t>()) return *number;
    if (const auto* text = value.As<std::wstring>()) return ToUtf8(*text);
    if (const auto* array = value.As<Value::Array>()) {
        Json json = Json::array();
        for (const Value& element : *array) json.push_back(ToJson(element));
        return json;
    }
    if (const auto* object = value.As<Value::Object>()) {
        Json json = Json::object();
        for (const Member& member : *object) json[ToUtf8(member.name)] = ToJson(member.value);
        return json;
    }
    return nullptr;
}

// Builds a value from the parser's events. A function that returns false ends the parsing.
class Builder final : public nlohmann::json_sax<Json> {
  public:
    // Only after a complete document.
    Value Take() { return std::move(root_); }
    std::size_t ErrorOffset() const { return errorOffset_; }

    bool null() override { return Put({}); }
    bool boolean(bool value) override { return Put(value); }
    bool number_integer(std::int64_t value) override { return Put(value); }
    bool number_unsigned(std::uint64_t value) override {
        return value <= std::uint64_t{std::numeric_limits<std::int64_t>::max()} && Put(value);
    }
    bool number_float(double, const std::string&) override { return false; }
    bool string(std::string& value) override { return Put(FromUtf8(value)); }
    bool binary(Json::binary_t&) override { return false; }

    bool start_object(std::size_t) override { return Open(Value::Object()); }
    bool key(std::string& name) override {
        open_.back().name = FromUtf8(name);
        return !open_.back().value.Find(open_.back().name);
    }
    bool end_object() override { return Close(); }
    bool start_array(std::size_t) override { return Open(Value::Array()); }
    bool end_array() override { return Close(); }

    bool parse_error(std::size_t position, const std::string&, const nlohmann::detail::exception&) override {
        errorOffset_ = position;
        return false;
    }

  private:
    struct Level {
        Value value;        // an array or an object
        std::wstring name;  // of the member that follows
    };

    bool Open(Value container) {
        constexpr std::size_t kDeepest = 32;
        if (open_.size() == kDeepest) return false;
        open_.push_back({std::move(container), {}});
        return true;
    }

    bool Close() {
        Value closed = std::move(open_.back().value);
        open_.pop_back();
        return Put(std::move(closed));
    }

    bool Put(Value value) {
        if (open_.empty()) {
            root_ = std::move(value);
        } else if (Level& level = open_.back(); level.value.As<Value::Object>()) {
            level.value.Add(std::move(level.name), std::move(value));
        } else {
            level.value.Append(std::move(value));
        }
        return true;
    }

    Value root_;
    std::vector<Level> open_;
    std::size_t errorOffset_ = 0;
};

}  // namespace

std::string JsonText(const Value& value, JsonLayout layout) {
    constexpr int kIndent = 2;
    return ToJson(value).dump(layout == JsonLayout::Indented ? kIndent : -1, ' ', false,
                              Json::error_handler_t::replace);
}

ParsedJson ParseJson(std::string_view text) {
    Builder builder;
    if (!Json::sax_parse(text, &builder)) return {{}, builder.ErrorOffset()};
    return {builder.Take()};
}
