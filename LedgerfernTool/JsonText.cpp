#include "JsonText.h"

#include "Foundation/JsonWriter.h"

namespace ledgerfern {

JsonText::JsonText(std::string_view text) {
    JsonWriter(text_).value(text);
}

JsonText JsonText::object(const std::vector<Member>& members) {
    JsonText whole;
    for (const auto& [key, value] : members) {
        whole.text_ += whole.text_.empty() ? '{' : ',';
        whole.text_.append("\"").append(key).append("\":").append(value.text_);
    }
    whole.text_ += members.empty() ? "{}" : "}";
    return whole;
}

JsonText JsonText::array(std::initializer_list<JsonText> elements) {
    JsonText whole;
    whole.text_ = "[";
    for (const JsonText& element : elements) {
        if (whole.text_.size() > 1) whole.text_ += ',';
        whole.text_ += element.text_;
    }
    whole.text_ += "]";
    return whole;
}

JsonText JsonText::decimal(std::int64_t tenths) {
    JsonText number;
    number.text_ = std::to_string(tenths / 10) + "." + std::to_string(tenths % 10);
    return number;
}

}  // namespace ledgerfern
