#include "platform/process/RunningServer.h"

#include <gtest/gtest.h>

namespace moxtel {
namespace {

TEST(RunningServer, readsWhoListensInTheTableOfSockets) {
  constexpr std::string_view kTable =
      "  sl  local_address rem_address   st tx_queue rx_queue tr tm->when retrnsmt   uid  timeout inode\n"
      "   0: 00000000:109A 00000000:0000 0A 00000000:00000000 00:00000000 00000000   997        0 4711 1 0 "
      "100\n"
      "   1: 0100007F:109B 0100007F:D0D2 01 00000000:00000000 00:00000000 00000000  1000        0 6 1 0 100\n"
      "   2: 0100007F:109C";
  EXPECT_EQ(listenerOn(4250, kTable), "4711");
  EXPECT_EQ(listenerOn(4251, kTable), "");
  EXPECT_EQ(listenerOn(4252, kTable), "");
}

TEST(RunningServer, doesNotTakeOtherProgramsForIt) { EXPECT_FALSE(isPortOfRunningServer(1)); }

}  // namespace
}  // namespace moxtel
