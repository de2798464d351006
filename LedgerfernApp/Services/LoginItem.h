#pragma once

#include <memory>
#include <string>

namespace ledgerfern {

/// The platform's list of programs that start when the user logs in, as far as this program is concerned.
/// Main thread. What the platform says is the only state there is.
class LoginItemService {
public:
    virtual ~LoginItemService() = default;

    virtual bool isEnabled() const = 0;
    /// False where that can't be done; everything then stays as it was.
    virtual bool registerItem() = 0;
    virtual bool unregisterItem() = 0;
};

/// The one of the platform. `program` is the file to start, where the platform goes by files.
std::unique_ptr<LoginItemService> platformLoginItem(std::string program);

namespace LoginItem {

/// Makes the program start at log-in, or not. A failure isn't shown: `isEnabled` tells the truth.
void setEnabled(LoginItemService& service, bool on);

}  // namespace LoginItem

}  // namespace ledgerfern
