// Value: a document that a program reads or writes: null, truth value, whole number, text, array, or object.
#pragma once

#include <concepts>
#include <cstdint>
#include <string>
#include <utility>
#include <variant>
#include <vector>

struct Member;

class Value {
  public:
    using Array = std::vector<Value>;
    using Object = std::vector<Member>;  // in the order in which the members were added

    Value();  // null
    // NOLINTBEGIN(google-explicit-constructor): documents are written as lists of plain values.
    template <std::integral Number>  // bool, or a whole number
    Value(Number value);
    Value(std::wstring text);
    Value(const wchar_t* text);
    Value(Array array);
    Value(Object object);
    // NOLINTEND(google-explicit-constructor)

    bool IsNull() const { return std::holds_alternative<std::monostate>(value_); }

    // nullptr when the value is of another kind: `value.As<std::wstring>()`.
    template <class Kind>
    const Kind* As() const {
        return std::get_if<Kind>(&value_);
    }

    // Adds a member to an object, or to null, which becomes an object. Names are added once.
    Value& Add(std::wstring name, Value value);

    // Adds an element to an array, or to null, which becomes an array.
    Value& Append(Value value);

    // The member of that name; nullptr when there is none, or the value is no object.
    const Value* Find(const std::wstring& name) const;

    bool operator==(const Value& other) const;

  private:
    std::variant<std::monostate, bool, std::int64_t, std::wstring, Array, Object> value_;
};

struct Member {
    std::wstring name;
    Value value;

    bool operator==(const Member&) const = default;
};

// Defined here because they need the complete type of a member.
inline Value::Value() = default;
template <std::integral Number>
Value::Value(Number value) {
    if constexpr (std::same_as<Number, bool>) {
        value_ = value;
    } else {
        value_ = static_cast<std::int64_t>(value);
    }
}
inline Value::Value(std::wstring text) : value_(std::move(text)) {}
inline Value::Value(const wchar_t* text) : value_(std::wstring(text)) {}
inline Value::Value(Array array) : value_(std::move(array)) {}
inline Value::Value(Object object) : value_(std::move(object)) {}

inline bool Value::operator==(const Value& other) const {
    return value_ == other.value_;
}

inline Value& Value::Add(std::wstring name, Value value) {
    if (IsNull()) value_ = Object();
    std::get<Object>(value_).push_back({std::move(name), std::move(value)});
    return *this;
}

inline Value& Value::Append(Value value) {
    if (IsNull()) value_ = Array();
    std::get<Array>(value_).push_back(std::move(value));
    return *this;
}

inline const Value* Value::Find(const std::wstring& name) const {
    const auto* object = As<Object>();
    if (!object) return nullptr;
    for (const Member& member : *object)
        if (member.name == name) return &member.value;
    return nullptr;
}
