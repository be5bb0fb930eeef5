// LAST, CUMULATE_DECUMULATE, MAX_MIN_VALUE and FUNDS through the loader.
#include "testSupport.h"

using namespace fpktest;

TEST(Last, CarriesLastNonZeroValue) {
    auto r = call("LAST", {withNulls({100, 0, 0, 120, 0, 0, 90}, {4})});
    ASSERT_FALSE(r.error) << r.error->message;
    EXPECT_EQ(doublesOf(r), (std::vector<double>{100, 100, 100, 120, 120, 120, 90}));
}
