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
        const std::size_t length = std::min<std::size_t>(data[at] % 64, size - at - 1);
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

bool IsRequest(const std::vector<std::uint8_t>& message) {
    ControlRequest request;
    if (message.size() != sizeof request) return false;
    std::memcpy(&request, message.data(), sizeof request);
    return request.mark == ControlMark;
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
        expect(carriedOut - before == (IsRequest(message) ? 1 : 0),
               "a request is carried out, and nothing else");
        ControlReply reply;
        const ssize_t received = recv(connection.Get(), &reply, sizeof reply, MSG_DONTWAIT);
        if (IsRequest(message))
            expect(received == sizeof reply && reply.mark == ControlMark, "a request has its reply");
    }
    server.Serve(handler);
    std::vector<pollfd> waited;
    server.AppendTo(waited);
    expect(waited.size() <= 17, "the number of clients is bounded");
}

// A service that answers with these messages, one to each who asks.
void AnswerClient(const std::string& path, const std::vector<std::vector<std::uint8_t>>& messages) {
    const auto address = LocalSocketAddress(path);
    const Descriptor listener(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    unlink(path.c_str());
    const int bound = bind(listener.Get(), reinterpret_cast<const sockaddr*>(&*address), sizeof *address);
    expect(bound == 0 && listen(listener.Get(), 8) == 0, "a service listens");
    const auto& message = messages.front();
    std::thread service([&] {
        const Descriptor client(accept4(listener.Get(), nullptr, nullptr, SOCK_CLOEXEC));
        ControlRequest request;
        expect(recv(client.Get(), &request, sizeof request, 0) == sizeof request, "the client asks");
        send(client.Get(), message.data(), message.size(), MSG_NOSIGNAL);
        shutdown(listener.Get(), SHUT_RDWR);  // who asks again finds no one
    });
    DWORD error = 0;
    const auto reply = AskService(path, ControlQuery, error, std::chrono::milliseconds(200));
    service.join();
    ControlReply due;
    const bool isReply =
        message.size() >= sizeof due && std::memcmp(message.data(), &ControlMark, sizeof ControlMark) == 0;
    expect(reply.has_value() == isReply, "a reply is taken, and nothing else");
    expect(reply || error != 0, "whoever gets no reply learns why");
}

}  // namespace

// The first byte says which end is spoken to.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const TemporaryFolder folder;
    static auto& server = *new ControlServer;
    static const DWORD opened = server.Open(folder.Path("control"));
    expect(opened == 0, "the server listens");
    if (size == 0) return 0;
    const auto messages = Messages(data + 1, size - 1);
    if (messages.empty()) return 0;
    if (data[0] % 2 == 0)
        SpeakToServer(server, folder.Path("control"), messages);
    else
        AnswerClient(folder.Path("service"), messages);
    return 0;
}
