// A desktop's session for one program. Says where it is, in the words that programs look for in
// SESSION_MANAGER. A byte on standard input is the user's log-out; "never" is said when the program wants not
// to be started with the next session.
#include <X11/SM/SMlib.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <span>
#include <vector>

// Of the library, though its headers lack it: leaves out a way to be reached.
// NOLINTNEXTLINE(bugprone-reserved-identifier,readability-identifier-naming)
extern "C" int _IceTransNoListen(const char* protocol);

namespace {

struct Session {
    SmsConn program = nullptr;
    bool isEnding = false;
};

void say(const char* text) {
    std::puts(text);
    std::fflush(stdout);
}

void saveYourself(const Session& session) {
    const bool isFast = false;
    SmsSaveYourself(session.program, SmSaveBoth, session.isEnding, SmInteractStyleNone, isFast);
}

Status registerProgram(SmsConn program, SmPointer manager, char* previousId) {
    if (previousId != nullptr) return 0;  // no session was before this one
    auto& session = *static_cast<Session*>(manager);
    session.program = program;
    char* const id = SmsGenerateClientID(program);
    SmsRegisterClientReply(program, id);
    std::free(id);
    saveYourself(session);
    return 1;
}

void takeProperties(SmsConn /*program*/, SmPointer /*manager*/, int count, SmProp** properties) {
    for (int i = 0; i < count; ++i) {
        const SmProp& property = *properties[i];
        const bool isHint = std::strcmp(property.name, SmRestartStyleHint) == 0;
        if (isHint && *static_cast<const char*>(property.vals[0].value) == SmRestartNever) say("never");
        SmFreeProperty(properties[i]);
    }
    std::free(static_cast<void*>(properties));
}

void dropProperties(SmsConn /*program*/, SmPointer /*manager*/, int count, char** names) {
    SmFreeReasons(count, names);
}

void goOn(SmsConn program, SmPointer manager, int /*success*/) {
    if (static_cast<const Session*>(manager)->isEnding)
        SmsDie(program);
    else
        SmsSaveComplete(program);
}

Status takeProgram(SmsConn /*program*/, SmPointer manager, unsigned long* taken, SmsCallbacks* callbacks,
                   char** /*refusal*/) {
    callbacks->register_client = {registerProgram, manager};
    callbacks->set_properties = {takeProperties, manager};
    callbacks->delete_properties = {dropProperties, manager};
    callbacks->save_yourself_done = {goOn, manager};
    *taken = SmsRegisterClientProcMask | SmsSetPropertiesProcMask | SmsDeletePropertiesProcMask |
             SmsSaveYourselfDoneProcMask;
    return 1;
}

int letIn(char* /*host*/) {
    return 1;
}

/// Until it comes.
IceConn connectionOfProgram(std::span<const IceListenObj> places) {
    std::vector<pollfd> inputs;
    for (IceListenObj place : places)
        inputs.push_back({IceGetListenConnectionNumber(place), POLLIN, 0});
    ::poll(inputs.data(), inputs.size(), -1);
    const auto called = std::ranges::find_if(inputs, [](const pollfd& input) { return input.revents != 0; });
    IceAcceptStatus status = IceAcceptFailure;
    return IceAcceptConnection(places[static_cast<std::size_t>(called - inputs.begin())], &status);
}

/// Until it goes.
void accompany(IceConn connection, Session& session) {
    pollfd inputs[] = {{STDIN_FILENO, POLLIN, 0}, {IceConnectionNumber(connection), POLLIN, 0}};
    while (::poll(inputs, std::size(inputs), -1) > 0) {
        char order = 0;
        if (inputs[0].revents != 0) {
            if (::read(STDIN_FILENO, &order, 1) != 1) return;
            session.isEnding = true;
            saveYourself(session);
        }
        if (inputs[1].revents != 0 &&
            IceProcessMessages(connection, nullptr, nullptr) != IceProcessMessagesSuccess)
            return;
    }
}

}  // namespace

int main() {
    Session session;
    _IceTransNoListen("tcp");
    char error[256];
    int count = 0;
    IceListenObj* places = nullptr;
    if (SmsInitialize("Ledgerfern", "1", takeProgram, &session, letIn, sizeof error, error) == 0 ||
        IceListenForConnections(&count, &places, sizeof error, error) == 0) {
        std::fprintf(stderr, "no session: %s\n", error);
        return EXIT_FAILURE;
    }
    for (int i = 0; i < count; ++i)
        IceSetHostBasedAuthProc(places[i], letIn);
    IceSetIOErrorHandler([](IceConn) {});
    char* const address = IceComposeNetworkIdList(count, places);
    say(address);
    std::free(address);
    accompany(connectionOfProgram({places, static_cast<std::size_t>(count)}), session);
    IceFreeListenObjs(count, places);
    std::_Exit(EXIT_SUCCESS);  // the library keeps the connection
}
