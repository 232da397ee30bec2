#include "tests/pd-conformance/PdTest.h"

#include <set>

namespace pd_test {
namespace {

using SessionTest = PdTest;

pipe_status use(p4_pd_sess_hdl_t session) {
    p4_pd_velmor_switch_usage_t usage{};
    return p4_pd_velmor_switch_get_usage(session, kAllPipes, &usage);
}

TEST_F(SessionTest, SessionZeroIsOpenFromTheStartAndCannotBeClosed) {
    EXPECT_EQ(0u, use(0));
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, p4_pd_velmor_switch_client_cleanup(0));
    EXPECT_EQ(0u, use(0));
}

TEST_F(SessionTest, ASessionWorksFromOpeningToClosing) {
    p4_pd_sess_hdl_t session = 0;
    ASSERT_EQ(0u, p4_pd_velmor_switch_client_init(&session));
    EXPECT_NE(0u, session);
    EXPECT_EQ(0u, use(session));
    EXPECT_EQ(0u, p4_pd_velmor_switch_client_cleanup(session));
    EXPECT_EQ(P4_PD_STATUS_SESSION_NOT_FOUND, use(session));
    EXPECT_EQ(P4_PD_STATUS_SESSION_NOT_FOUND, p4_pd_velmor_switch_client_cleanup(session));
}

TEST_F(SessionTest, TheNumberOfAClosedSessionDoesNotComeBackAtOnce) {
    p4_pd_sess_hdl_t closed = 0;
    ASSERT_EQ(0u, p4_pd_velmor_switch_client_init(&closed));
    ASSERT_EQ(0u, p4_pd_velmor_switch_client_cleanup(closed));
    for (int i = 0; i < 1000; ++i) {
        p4_pd_sess_hdl_t session = 0;
        ASSERT_EQ(0u, p4_pd_velmor_switch_client_init(&session));
        ASSERT_NE(closed, session);
        ASSERT_EQ(P4_PD_STATUS_SESSION_NOT_FOUND, use(closed));
        ASSERT_EQ(0u, p4_pd_velmor_switch_client_cleanup(session));
    }
}

TEST_F(SessionTest, SixtyThreeSessionsFitBesideSessionZero) {
    std::set<p4_pd_sess_hdl_t> sessions;
    for (int i = 0; i < 63; ++i) {
        p4_pd_sess_hdl_t session = 0;
        ASSERT_EQ(0u, p4_pd_velmor_switch_client_init(&session));
        EXPECT_TRUE(sessions.insert(session).second);
    }
    p4_pd_sess_hdl_t tooMany = kUntouched;
    EXPECT_EQ(P4_PD_STATUS_MAX_SESSIONS, p4_pd_velmor_switch_client_init(&tooMany));
    EXPECT_EQ(kUntouched, tooMany);
    for (const p4_pd_sess_hdl_t session : sessions)
        EXPECT_EQ(0u, use(session));

    ASSERT_EQ(0u, p4_pd_velmor_switch_client_cleanup(*sessions.begin()));
    EXPECT_EQ(0u, p4_pd_velmor_switch_client_init(&tooMany));
    EXPECT_EQ(0u, sessions.count(tooMany));
    EXPECT_EQ(0u, use(tooMany));
}

TEST_F(SessionTest, WhatOneSessionMadeAnotherMayUseAfterItIsClosed) {
    p4_pd_sess_hdl_t session = 0;
    ASSERT_EQ(0u, p4_pd_velmor_switch_client_init(&session));
    p4_pd_velmor_switch_setLagPort_action_spec_t spec{7};
    std::uint32_t handle = 0;
    ASSERT_EQ(0u, p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setLagPort(
                      session, kAllPipes, &spec, &handle));
    ASSERT_EQ(0u, p4_pd_velmor_switch_client_cleanup(session));
    EXPECT_EQ(0u, delMember(handle));
}

} // namespace
} // namespace pd_test
