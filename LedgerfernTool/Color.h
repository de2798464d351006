#pragma once

#include <string>
#include <string_view>

namespace ledgerfern {

/// What a piece of text is to be seen as.
enum class Tone { plain, past, heading, notice, alarm };

/// Colours text by ANSI sequences where colour is on; otherwise it stays as it is.
class Palette {
public:
    explicit Palette(bool isOn) : isOn_(isOn) {}

    std::string paint(Tone tone, std::string_view text) const;

private:
    bool isOn_;
};

/// How a percentage of a limit is seen: a notice from 80 on, an alarm from 95 on.
Tone limitTone(double usedPercent);

}  // namespace ledgerfern
