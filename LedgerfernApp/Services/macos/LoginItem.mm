#include "Services/LoginItem.h"

#import <ServiceManagement/ServiceManagement.h>

namespace ledgerfern {

namespace {

class AppService : public LoginItemService {
public:
    bool isEnabled() const override { return service().status == SMAppServiceStatusEnabled; }
    bool registerItem() override { return [service() registerAndReturnError:nil]; }
    bool unregisterItem() override { return [service() unregisterAndReturnError:nil]; }

private:
    static SMAppService* service() { return SMAppService.mainAppService; }
};

}  // namespace

std::unique_ptr<LoginItemService> platformLoginItem(std::string /*program*/) {
    return std::make_unique<AppService>();
}

}  // namespace ledgerfern
