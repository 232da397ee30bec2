// Runs the tests against the switch that VELMOR_OVS_MANAGEMENT names. Its table 0 hands all packets
// on with the metadata that they have.

#include <cstdlib>
#include <gmock/gmock.h>

int main(int argc, char** argv) {
    testing::InitGoogleMock(&argc, argv);
    if (std::system("ovs-ofctl -O OpenFlow15 add-flow unix:$VELMOR_OVS_MANAGEMENT "
                    "table=0,actions=goto_table:1") != 0)
        return 1;
    return RUN_ALL_TESTS();
}
