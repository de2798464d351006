#include "Foundation/SharedArray.h"

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <vector>

namespace ledgerfern {
namespace {

std::vector<int> items(const SharedArray<int>& array) {
    return {array.begin(), array.end()};
}

TEST(SharedArrayProperty, copiesBehaveLikeVectors) {
    EXPECT_TRUE(rc::check("appends, copies and shrinking in any order", [] {
        std::vector<SharedArray<int>> arrays(3);
        std::vector<std::vector<int>> vectors(3);
        const auto index = [] { return *rc::gen::inRange<std::size_t>(0, 3); };
        for (int step = 0; step < 60; ++step) {
            const std::size_t i = index();
            switch (*rc::gen::inRange(0, 4)) {
                case 0: {
                    const std::size_t source = index();
                    arrays[i] = arrays[source];
                    vectors[i] = vectors[source];
                    break;
                }
                case 1:
                    arrays[i].shrinkToFit();
                    break;
                default: {
                    const std::vector<int> more(*rc::gen::inRange<std::size_t>(0, 6), step);
                    arrays[i].append(more.data(), more.size());
                    vectors[i].insert(vectors[i].end(), more.begin(), more.end());
                }
            }
            for (std::size_t k = 0; k < 3; ++k)
                RC_ASSERT(items(arrays[k]) == vectors[k]);
        }
    }));
}

}  // namespace
}  // namespace ledgerfern
