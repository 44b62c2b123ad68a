// The server by itself, as programs on the same computer can reach it.
#include "virtual_projector/live/server.h"

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <httplib.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <nlohmann/json.hpp>
#include <thread>

#include "tests/virtual_projector/live/states.h"
#include "virtual_projector/launcher/located_json.h"

namespace {

using testing::HasSubstr;
using vp::Hub;

constexpr const char* page =
    R"(<meta http-equiv="Content-Security-Policy" content="default-src 'none'; script-src 'sha256-x='">the page)";

class TheLiveServer : public testing::Test {
protected:
    TheLiveServer() { hub.begin_run({{"story", "a story"}}); }

    std::string with_token(const std::string& path) const { return path + "?token=" + server.token(); }

    httplib::Result get(const std::string& path, const httplib::Headers& headers = {}) const {
        httplib::Client client("127.0.0.1", server.port());
        return client.Get(path, headers);
    }
    httplib::Result post(const std::string& path, const std::string& body,
                         const httplib::Headers& headers = {}) const {
        httplib::Client client("127.0.0.1", server.port());
        return client.Post(path, headers, body, "application/json");
    }

    Hub hub;
    std::atomic<int> commands{0};
    vp::LiveServer server{0,
                          page,
                          hub,
                          {[this](const std::string& text) -> std::string {
                               if (text == "wrong")
                                   throw vp::LocatedError("command: $: expected something else");
                               ++commands;
                               return R"({"id":1})";
                           },
                           [] { return std::string("{}"); }}};
};

// One that watches until it is told to stop.
class Viewer {
public:
    explicit Viewer(const vp::LiveServer& server) : client_("127.0.0.1", server.port()) {
        client_.set_read_timeout(60);
        thread_ = std::thread([this, path = "/events?token=" + server.token()] {
            const auto take_status = [this](const httplib::Response& response) {
                const std::lock_guard<std::mutex> lock(lock_);
                status_ = response.status;
                changed_.notify_all();
                return true;
            };
            const auto take = [this](const char* bytes, std::size_t count) {
                const std::lock_guard<std::mutex> lock(lock_);
                text_.append(bytes, count);
                changed_.notify_all();
                return !stops_;
            };
            (void)client_.Get(path, take_status, take);
        });
    }
    ~Viewer() {
        stops_ = true;
        client_.stop();
        thread_.join();
    }
    Viewer(const Viewer&) = delete;
    Viewer& operator=(const Viewer&) = delete;

    int status() {
        std::unique_lock<std::mutex> lock(lock_);
        changed_.wait(lock, [this] { return status_ != 0; });
        return status_;
    }
    std::string text_with(const std::string& part) {
        std::unique_lock<std::mutex> lock(lock_);
        changed_.wait(lock, [&] { return text_.find(part) != std::string::npos; });
        return text_;
    }

private:
    httplib::Client client_;
    std::mutex lock_;
    std::condition_variable changed_;
    int status_ = 0;
    std::string text_;
    std::atomic<bool> stops_{false};
    std::thread thread_;
};

TEST_F(TheLiveServer, ServesThePageUnderItsOwnPolicyAndKeepsItOutOfCachesAndFrames) {
    const httplib::Result got = get(with_token("/"));
    ASSERT_TRUE(got);
    EXPECT_EQ(got->status, 200);
    EXPECT_EQ(got->body, page);
    EXPECT_EQ(got->get_header_value("Content-Security-Policy"),
              "default-src 'none'; script-src 'sha256-x='; frame-ancestors 'none'");
    EXPECT_EQ(got->get_header_value("Cache-Control"), "no-store");
    EXPECT_EQ(got->get_header_value("X-Content-Type-Options"), "nosniff");
    EXPECT_EQ(got->get_header_value("Referrer-Policy"), "no-referrer");
}

TEST_F(TheLiveServer, ListensOnTheLoopbackAddressAlone) {
    // 127.0.0.2 is this computer as well, by another address.
    httplib::Client other("127.0.0.2", server.port());
    EXPECT_FALSE(other.Get(with_token("/")));
    EXPECT_TRUE(get(with_token("/")));
}

TEST_F(TheLiveServer, RefusesEverybodyWithoutTheToken) {
    for (const std::string path : {"/", "/events", "/scenario"}) {
        EXPECT_EQ(get(path)->status, 403) << path;
        EXPECT_EQ(get(path + "?token=" + std::string(32, '0'))->status, 403) << path;
        EXPECT_THAT(get(path)->body, HasSubstr("expected the token")) << path;
    }
    EXPECT_EQ(post("/command", "{}")->status, 403);
    EXPECT_EQ(commands, 0);
}

TEST_F(TheLiveServer, RefusesAnotherHostThanItself) {
    const httplib::Result got = get(with_token("/"), {{"Host", "projector.example:80"}});
    EXPECT_EQ(got->status, 403);
    EXPECT_THAT(got->body, HasSubstr("expected the Host 127.0.0.1:"));
    const std::string port = std::to_string(server.port());
    EXPECT_EQ(get(with_token("/"), {{"Host", "localhost:" + port}})->status, 200);
    EXPECT_EQ(get(with_token("/"), {{"Host", "127.0.0.1:1"}})->status, 403);
}

TEST_F(TheLiveServer, RefusesPagesOfElsewhere) {
    const std::string here = "http://127.0.0.1:" + std::to_string(server.port());
    for (const std::string origin :
         {"http://projector.example", "null", "http://127.0.0.1", "https://127.0.0.1:1"}) {
        EXPECT_EQ(post(with_token("/command"), "{}", {{"Origin", origin}})->status, 403) << origin;
        EXPECT_EQ(get(with_token("/events"), {{"Origin", origin}})->status, 403) << origin;
    }
    EXPECT_EQ(commands, 0);
    EXPECT_EQ(post(with_token("/command"), "{}", {{"Origin", here}})->status, 200);
    EXPECT_EQ(commands, 1);
}

TEST_F(TheLiveServer, HasNothingButThePage) {
    for (const std::string path :
         {"/index.html", "/../etc/passwd", "/%2e%2e/etc/passwd", "//etc/passwd", "/command"}) {
        const httplib::Result got = get(with_token(path));
        ASSERT_TRUE(got) << path;
        EXPECT_EQ(got->status, 404) << path;
        EXPECT_THAT(got->body, HasSubstr("nothing here but the live page")) << path;
    }
}

TEST_F(TheLiveServer, SaysWhatIsWrongWithACommand) {
    const httplib::Result got = post(with_token("/command"), "wrong");
    EXPECT_EQ(got->status, 400);
    EXPECT_EQ(nlohmann::json::parse(got->body).at("mistake"), "command: $: expected something else");
}

TEST_F(TheLiveServer, RefusesACommandThatIsTooLarge) {
    const httplib::Result got = post(with_token("/command"), std::string(17 * 1024, ' '));
    ASSERT_TRUE(got);
    EXPECT_EQ(got->status, 413);
    EXPECT_THAT(got->body, HasSubstr("16 KiB"));
    EXPECT_EQ(commands, 0);
}

TEST_F(TheLiveServer, RefusesCommandsThatComeTooFast) {
    httplib::Client client("127.0.0.1", server.port());
    client.set_keep_alive(true);
    client.set_tcp_nodelay(true);
    int refused = 0;
    // However slow this computer is, so many do not pass: each refused one takes no place.
    for (int i = 0; i < 5000 && refused == 0; ++i) {
        const httplib::Result got = client.Post(with_token("/command"), "{}", "application/json");
        ASSERT_TRUE(got);
        if (got->status == 429) ++refused;
    }
    if (refused == 0) GTEST_SKIP() << "this computer makes fewer than 200 requests a second";
    EXPECT_GE(commands, 100);
}

TEST_F(TheLiveServer, ShowsEveryViewerTheStateAndWhatHappened) {
    Viewer first(server);
    Viewer second(server);
    hub.show_state(state_at(5));
    hub.show_happening({{"t_us", 5}, {"kind", "event"}, {"text", "somebody shakes"}});
    for (Viewer* viewer : {&first, &second}) {
        EXPECT_EQ(viewer->status(), 200);
        const std::string text = viewer->text_with("somebody shakes");
        EXPECT_THAT(text, HasSubstr("data: {"));
        EXPECT_THAT(text, HasSubstr("a story"));
    }
}

TEST_F(TheLiveServer, TellsTheOneViewerTooMany) {
    std::vector<std::unique_ptr<Viewer>> viewers;
    for (int i = 0; i < vp::LiveServer::max_viewers; ++i) {
        viewers.push_back(std::make_unique<Viewer>(server));
        EXPECT_EQ(viewers.back()->status(), 200);
        (void)viewers.back()->text_with("a story");
    }
    const httplib::Result got = get(with_token("/events"));
    ASSERT_TRUE(got);
    EXPECT_EQ(got->status, 503);
    EXPECT_THAT(got->body, HasSubstr("eight viewers"));
    EXPECT_EQ(get(with_token("/"))->status, 200);
    EXPECT_EQ(post(with_token("/command"), "{}")->status, 200);
}

// A connection over which nothing is ever read: its buffers fill, and whoever shows states goes on.
TEST_F(TheLiveServer, IsNotHeldUpByAViewerThatTakesNothing) {
    const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(server.port()));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    const std::string request = "GET " + with_token("/events") +
                                " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(server.port()) + "\r\n\r\n";
    ASSERT_EQ(::send(socket, request.data(), request.size(), 0), static_cast<ssize_t>(request.size()));
    Viewer quick(server);
    EXPECT_EQ(quick.status(), 200);
    for (int i = 1; i <= 20000; ++i) {
        vp::Hub::Json state = state_at(i);
        state["ballast"] = std::string(1000, 'x');
        hub.show_state(std::move(state));
    }
    (void)quick.text_with("\"t_us\":20000,");
    (void)::close(socket);
}

TEST(ALiveServer, SaysWhichPortItCannotHave) {
    Hub hub;
    const vp::LiveServer first(0, page, hub, {});
    try {
        const vp::LiveServer second(first.port(), page, hub, {});
        ADD_FAILURE() << "two servers on one port";
    } catch (const std::runtime_error& error) {
        EXPECT_THAT(error.what(), HasSubstr("port " + std::to_string(first.port()) + " cannot be had"));
    }
}

}  // namespace
