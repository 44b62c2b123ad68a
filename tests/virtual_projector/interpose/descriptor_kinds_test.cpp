#include "virtual_projector/interpose/descriptor_kinds.h"

#include <fcntl.h>
#include <gtest/gtest.h>

namespace vp {
namespace {

TEST(DescriptorKinds, ListsOnlyDescriptorsThatStayOpen) {
    for (const int descriptor : open_descriptors()) {
        EXPECT_NE(::fcntl(descriptor, F_GETFD), -1) << descriptor;
    }
}

}  // namespace
}  // namespace vp
