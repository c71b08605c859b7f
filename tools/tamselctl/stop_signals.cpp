// SPDX-License-Identifier: MIT
#include "stop_signals.h"

#include <signal.h>

#include <initializer_list>

namespace TamselCtl {

namespace {

volatile sig_atomic_t g_isStopAsked = 0;

void NoteStop(int /*signal*/) { g_isStopAsked = 1; }

}  // namespace

void CatchStopSignals() {
    struct sigaction action {};
    action.sa_handler = NoteStop;  // without SA_RESTART: waiting for a file lock ends
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction former {};
        (void)sigaction(signal, &action, &former);
        // What nohup started shall outlive its terminal.
        if (signal == SIGHUP && former.sa_handler == SIG_IGN) {
            (void)sigaction(signal, &former, nullptr);
        }
    }
}

bool IsStopAsked() { return g_isStopAsked != 0; }

}  // namespace TamselCtl
