// Entry point of the kernel tests: prints the seed and leaves out the
// instruction-set levels this machine (or this build) cannot run.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "harness.h"

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    const vek::CpuFlags have = vek::cpu_flags();
    std::string missing;
    for (const auto& level : vek::test::kAllLevels)
        if ((have & level.flags) != level.flags) missing += std::string(missing.empty() ? "" : ":") + level.name + "/*";
    if (!missing.empty()) {
        std::string& filter = ::testing::GTEST_FLAG(filter);
        filter.append(filter.find('-') == std::string::npos ? "-" : ":").append(missing);
    }
    std::printf("vek kernel tests: seed 0x%llx (set VEK_TEST_SEED to override), highest level %s%s%s\n",
                static_cast<unsigned long long>(vek::test::test_seed()), vek::cpu_level_name(have),
                missing.empty() ? "" : ", skipping ", missing.c_str());
    return RUN_ALL_TESTS();
}
