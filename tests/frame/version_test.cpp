#include <gtest/gtest.h>

#include <cstring>

#include "vekvc.h"

TEST(Version, RecordFieldsAndIdentity) {
    const VekLibVersion* v = vekvcGetLibVersion();
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(v, vekvcGetLibVersion());
    EXPECT_TRUE(v->major == 6 && v->minor == 1 && v->majorBuild == 137 && v->build == 799);
    EXPECT_EQ(std::memcmp(v->targetCpu, "n8\0\0", 4), 0);
    EXPECT_STREQ(v->Name, "libvekvcn8.so.6.1");
    EXPECT_STREQ(v->Version, "6.1 build 137.56");
    EXPECT_STREQ(v->BuildDate, "Mar 17 2010");
}
