// Both ends of the control socket, each opposite somebody who says anything.
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <thread>
#include <vector>

#include "class_a/fuzz/expect.h"
#include "platform/linux/instance/control_client.h"
#include "platform/linux/instance/control_socket.h"
#include "platform/linux/manager/control_server.h"
#include "temporary_folder.h"

namespace {

constexpr int MostMessages = 8;

// Cuts the input into messages: a byte for the length, then so many bytes.
std::vector<std::vector<std::uint8_t>> Messages(const std::uint8_t* data, std::size_t size) {
    std::vector<std::vector<std::uint8_t>> messages;
    for (std::size_t at = 0; at < size && messages.size() < MostMessages;) {
        const std::size_t length = std::min<std::size_t>(data[at] % 80, size - at - 1);
        messages.emplace_back(data + at + 1, data + at + 1 + length);
        at += 1 + length;
    }
    return messages;
}

Descriptor Connect(const std::string& path) {
    Descriptor connection(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    const auto address = LocalSocketAddress(path);
    expect(connect(connection.Get(), reinterpret_cast<const sockaddr*>(&*address), sizeof *address) == 0,
           "the server takes a client in");
    return connection;
}

template <class Request>
bool IsRequest(const std::vector<std::uint8_t>& message) {
    Request request;
    const std::uint32_t mark = request.mark;
    if (message.size() != sizeof request) return false;
    std::memcpy(&request, message.data(), sizeof request);
    return request.mark == mark;
}

// Says what it is asked about, and that there is more if it is asked for the first page.
bool MakePage(const ReportQuestion& question, ReportPage* page) {
    page->length = std::strlen(question.about);
    expect(page->length <= sizeof ReportRequest::about && page->room == ReportPageSize, "all has its bounds");
    std::memcpy(page->text, question.about, page->length);
    page->next = question.from + 1;
    return question.report == ServiceReport::Client;
}

void ExpectPage(const Descriptor& connection, const std::vector<std::uint8_t>& message) {
    ReportRequest request;
    std::memcpy(&request, message.data(), sizeof request);
    std::vector<char> page(sizeof(ReportReply) + ReportPageSize + 1);
    const ssize_t received = recv(connection.Get(), page.data(), page.size(), MSG_DONTWAIT);
    ReportReply head;
    expect(received >= static_cast<ssize_t>(sizeof head), "a question has its page");
    std::memcpy(&head, page.data(), sizeof head);
    const std::size_t about = strnlen(request.about, sizeof request.about);
    const bool isKnown = request.report == static_cast<std::uint32_t>(ServiceReport::Client);
    expect(head.length == (isKnown ? about : 0) && (head.error == 0) == isKnown, "it says what it was about");
    expect(static_cast<std::size_t>(received) == sizeof head + head.length, "it has its length");
}

// One client says all of it, a second one asks after each: no one is in anybody's way.
void SpeakToServer(ControlServer& server, const std::string& path,
                   const std::vector<std::vector<std::uint8_t>>& messages) {
    int carriedOut = 0;
    const auto handler = [&carriedOut](DWORD control) {
        ++carriedOut;
        return ControlReply{.error = control};
    };
    for (const auto& message : messages) {
        const Descriptor connection = Connect(path);
        // An empty message would look like the end of the connection.
        if (!message.empty())
            expect(send(connection.Get(), message.data(), message.size(), MSG_NOSIGNAL) >= 0, "it is sent");
        const int before = carriedOut;
        server.Serve(handler);
        const bool isControl = IsRequest<ControlRequest>(message);
        expect(carriedOut - before == (isControl ? 1 : 0), "a request is carried out, and nothing else");
        if (IsRequest<ReportRequest>(message)) {
            ExpectPage(connection, message);
            continue;
        }
        ControlReply reply;
        const ssize_t received = recv(connection.Get(), &reply, sizeof reply, MSG_DONTWAIT);
        if (isControl)
            expect(received == sizeof reply && reply.mark == ControlMark, "a request has its reply");
    }
    server.Serve(handler);
    std::vector<pollfd> waited;
    server.AppendTo(waited);
    expect(waited.size() <= 17, "the number of clients is bounded");
}

bool IsReply(const std::vector<std::uint8_t>& message) {
    return message.size() == sizeof(ControlReply) &&
           std::memcmp(message.data(), &ControlMark, sizeof ControlMark) == 0;
}

bool IsLastPage(const std::vector<std::uint8_t>& message) {
    ReportReply head;
    if (message.size() < sizeof head) return false;
    std::memcpy(&head, message.data(), sizeof head);
    return head.mark == ReportMark && head.error == 0 && head.next == 0 &&
           message.size() == sizeof head + head.length;
}

// A service that answers with this message, once.
void AnswerClient(const std::string& path, const std::vector<std::uint8_t>& message, bool isReport) {
    const auto address = LocalSocketAddress(path);
    const Descriptor listener(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    unlink(path.c_str());
    const int bound = bind(listener.Get(), reinterpret_cast<const sockaddr*>(&*address), sizeof *address);
    expect(bound == 0 && listen(listener.Get(), 8) == 0, "a service listens");
    std::thread service([&] {
        const Descriptor client(accept4(listener.Get(), nullptr, nullptr, SOCK_CLOEXEC));
        char request[sizeof(ReportRequest)];
        expect(recv(client.Get(), request, sizeof request, 0) > 0, "the client asks");
        send(client.Get(), message.data(), message.size(), MSG_NOSIGNAL);
        shutdown(listener.Get(), SHUT_RDWR);  // who asks again finds no one
    });
    constexpr std::chrono::milliseconds Patience{200};
    DWORD error = 0;
    const bool isTaken = isReport ? AskReport(path, ServiceReport::Counters, "", error, Patience).has_value()
                                  : AskService(path, ControlQuery, error, Patience).has_value();
    service.join();
    expect(isTaken == (isReport ? IsLastPage(message) : IsReply(message)),
           "a reply is taken, and nothing else");
    expect(isTaken || error != 0, "whoever gets no reply learns why");
}

}  // namespace

// The first byte says which end is spoken to, and what a client asks for.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const TemporaryFolder folder;
    static auto& server = *new ControlServer;
    static const DWORD opened = (SetReportProvider(MakePage), server.Open(folder.Path("control")));
    expect(opened == 0, "the server listens");
    if (size == 0) return 0;
    const auto messages = Messages(data + 1, size - 1);
    if (messages.empty()) return 0;
    if (data[0] % 2 == 0)
        SpeakToServer(server, folder.Path("control"), messages);
    else
        AnswerClient(folder.Path("service"), messages.front(), data[0] % 4 == 3);
    return 0;
}
