#include "Color.h"

namespace ledgerfern {

namespace {

std::string_view sequence(Tone tone) {
    switch (tone) {
        case Tone::plain:
            return "";
        case Tone::past:
            return "\x1b[2m";
        case Tone::heading:
            return "\x1b[1m";
        case Tone::notice:
            return "\x1b[33m";
        case Tone::alarm:
            return "\x1b[31m";
    }
    return "";
}

}  // namespace

std::string Palette::paint(Tone tone, std::string_view text) const {
    if (!isOn_ || tone == Tone::plain || text.empty()) return std::string(text);
    std::string result(sequence(tone));
    result += text;
    result += "\x1b[0m";
    return result;
}

Tone limitTone(double usedPercent) {
    if (usedPercent >= 95) return Tone::alarm;
    return usedPercent >= 80 ? Tone::notice : Tone::plain;
}

}  // namespace ledgerfern
