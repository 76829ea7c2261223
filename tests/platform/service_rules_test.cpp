#include "platform/linux/manager/service_rules.h"

#include <gtest/gtest.h>

namespace {

constexpr DWORD Stop = SERVICE_CONTROL_STOP;
constexpr DWORD Pause = SERVICE_CONTROL_PAUSE;
constexpr DWORD Continue = SERVICE_CONTROL_CONTINUE;
constexpr DWORD Interrogate = SERVICE_CONTROL_INTERROGATE;
constexpr DWORD All = SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_PAUSE_CONTINUE;

SERVICE_STATUS Status(DWORD state, DWORD accepted = All, DWORD waitHint = 0) {
    SERVICE_STATUS status{};
    status.dwCurrentState = state;
    status.dwControlsAccepted = accepted;
    status.dwWaitHint = waitHint;
    return status;
}

TEST(ServiceRules, WhichControlsAServiceTakes) {
    const std::tuple<DWORD, DWORD, DWORD, DWORD> cases[] = {
        {0, 0, Interrogate, 1061},
        {SERVICE_START_PENDING, 0, Stop, 1061},
        {SERVICE_START_PENDING, SERVICE_ACCEPT_STOP, Stop, 0},
        {SERVICE_START_PENDING, 0, Interrogate, 0},
        {SERVICE_RUNNING, All, Stop, 0},
        {SERVICE_RUNNING, All, Continue, 0},
        {SERVICE_RUNNING, SERVICE_ACCEPT_STOP, Pause, 1052},
        {SERVICE_RUNNING, SERVICE_ACCEPT_PAUSE_CONTINUE, Stop, 1052},
        {SERVICE_RUNNING, 0, Interrogate, 0},
        {SERVICE_RUNNING, All, 0, 1052},
        {SERVICE_RUNNING, All, 200, 1052},
        {SERVICE_PAUSED, All, Stop, 0},
        {SERVICE_STOP_PENDING, All, Stop, 1061},
        {SERVICE_STOP_PENDING, All, Interrogate, 0},
        {SERVICE_STOPPED, All, Stop, 1062},
        {SERVICE_STOPPED, All, 200, 1052}};
    for (const auto& [state, accepted, control, error] : cases)
        EXPECT_EQ(WhyControlRefused(Status(state, accepted), control), error)
            << "state " << state << " accepts " << accepted << " control " << control;
}

TEST(ServiceRules, WhatTheManagerIsTold) {
    const SERVICE_STATUS starting = Status(SERVICE_START_PENDING);
    const SERVICE_STATUS running = Status(SERVICE_RUNNING);
    const SERVICE_STATUS reloading = Status(SERVICE_RUNNING, All, 5);
    const std::tuple<SERVICE_STATUS, SERVICE_STATUS, const char*> cases[] = {
        {Status(0), Status(SERVICE_START_PENDING, 0, 0xFFFFFFFF),
         "STATUS=Starting\nEXTEND_TIMEOUT_USEC=4294967295000"},
        {starting, running, "READY=1\nSTATUS=Running"},
        {starting, reloading, "READY=1\nSTATUS=Running"},
        {running, reloading, "RELOADING=1\nMONOTONIC_USEC=42\nSTATUS=Reloading\nEXTEND_TIMEOUT_USEC=5000"},
        {reloading, running, "READY=1\nSTATUS=Running"},
    };
    for (const auto& [previous, status, notification] : cases)
        EXPECT_EQ(NotificationOf(previous, status, 42), notification);
    SERVICE_STATUS failed = Status(SERVICE_STOPPED);
    failed.dwWin32ExitCode = 5;
    failed.dwServiceSpecificExitCode = 11;
    EXPECT_EQ(NotificationOf(running, failed, 0), "STOPPING=1\nSTATUS=Stopped with exit code 5");
}

}  // namespace
