#pragma once

#include <string>

#include "Services/LoginItem.h"

namespace ledgerfern {

/// A desktop entry that makes the desktop start the program when the user logs in.
class AutostartEntry : public LoginItemService {
public:
    /// The user's folder of such entries, which needn't exist.
    static std::string defaultFolder();

    /// `executable` is the program's absolute path; where it is empty, the item can't be registered.
    AutostartEntry(const std::string& folder, std::string executable);

    /// Whether the desktop starts the program: there is an entry, it isn't switched off, and the program that
    /// it is for is there.
    bool isEnabled() const override;
    bool registerItem() override;
    bool unregisterItem() override;

private:
    std::string path_;
    std::string executable_;
};

}  // namespace ledgerfern
