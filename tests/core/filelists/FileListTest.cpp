#include "core/filelists/FileList.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Vorn::Vorncast::Decoders {
namespace {} // namespace
} // namespace Vorn::Vorncast::Decoders
