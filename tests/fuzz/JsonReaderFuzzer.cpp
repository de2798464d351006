#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "Foundation/Check.h"
#include "Foundation/JsonReader.h"
#include "Parsing/JsonSize.h"
#include "core/JsonReference.h"

/// Any bytes are read just as nlohmann's parser reads them, whatever stands behind them, and what was read
/// can be measured.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace ledgerfern;
    static JsonReader reader;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    check(reference::agree(text, reader.read(text)), "the copied text reads differently");

    const std::string padded = std::string(text) + std::string(JsonReader::padding, '"');
    const OptionalJson value = reader.readPadded(std::string_view(padded).substr(0, size));
    check(reference::agree(text, value), "the padded text reads differently");
    if (value) check(jsonLen(*value) > 0 && approxLen(value) >= 0, "a size is negative");
    return 0;
}
