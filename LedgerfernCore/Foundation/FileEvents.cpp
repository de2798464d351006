#include "Foundation/FileEvents.h"

namespace ledgerfern {

void runDebounced(FileEvents& events, const std::function<void()>& onChange) {
    std::optional<double> rest;  // of the quiet spell; absent where nothing has changed
    while (true) {
        switch (events.wait(rest)) {
            case FileEvents::Outcome::event:
                rest = quietSpell;
                break;
            case FileEvents::Outcome::timeout:
                rest.reset();
                onChange();
                break;
            case FileEvents::Outcome::stopped:
                return;
        }
    }
}

}  // namespace ledgerfern
