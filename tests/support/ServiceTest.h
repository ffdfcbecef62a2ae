#pragma once

#include <gtest/gtest.h>

#include <optional>

namespace tamsel::tests {

/// Tests with services of their own, which are skipped where the programs for these are not installed.
template <typename Services> class ServiceTest : public testing::Test {
protected:
    void SetUp() override
    {
        if (!Services::arePossible())
            GTEST_SKIP() << Services::needed << " is not installed";
        services.emplace();
    }

    std::optional<Services> services;
};

} // namespace tamsel::tests
