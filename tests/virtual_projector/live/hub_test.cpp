#include "virtual_projector/live/hub.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <thread>

#include "tests/virtual_projector/live/states.h"

namespace {

using vp::Hub;
using Json = Hub::Json;

Json happening(int number) { return {{"t_us", number}, {"kind", "event"}, {"text", std::to_string(number)}}; }

TEST(AViewer, IsShownTheNewestStateAndNoneInBetween) {
    Hub hub;
    hub.begin_run({{"story", "s"}});
    Hub::Seen seen;
    (void)hub.news_for(seen);
    for (int t = 1; t <= 5; ++t) hub.show_state(state_at(t));
    EXPECT_EQ(hub.news_for(seen).at("state").at("t_us"), 5);
    EXPECT_FALSE(hub.news_for(seen).contains("state"));
}

TEST(AViewer, IsShownEverythingThatHappenedOnce) {
    Hub hub;
    hub.begin_run({});
    hub.show_happening(happening(1));
    hub.show_happening(happening(2));
    Hub::Seen seen;
    EXPECT_EQ(hub.news_for(seen).at("happenings").size(), 2U);
    hub.show_happening(happening(3));
    const Json news = hub.news_for(seen);
    ASSERT_EQ(news.at("happenings").size(), 1U);
    EXPECT_EQ(news.at("happenings")[0].at("text"), "3");
    EXPECT_FALSE(news.contains("missed"));
}

TEST(AViewer, IsToldHowMuchItHasMissedWhenItIsTooSlow) {
    Hub hub;
    hub.begin_run({});
    Hub::Seen seen;
    (void)hub.news_for(seen);
    for (int i = 0; i < 500; ++i) hub.show_happening(happening(i));
    const Json news = hub.news_for(seen);
    EXPECT_EQ(news.at("missed"), 100);
    EXPECT_EQ(news.at("happenings").size(), 400U);
    EXPECT_EQ(news.at("happenings").back().at("text"), "499");
}

TEST(AViewer, WhoComesLateSeesTheCurvesFromBefore) {
    Hub hub;
    hub.begin_run({{"story", "s"}});
    for (int t = 1; t <= 3; ++t) hub.show_state(state_at(t));
    Hub::Seen seen;
    const Json news = hub.news_for(seen);
    EXPECT_EQ(news.at("run").at("story"), "s");
    ASSERT_EQ(news.at("curves").size(), 3U);
    EXPECT_EQ(news.at("curves")[2][0], 3);
}

TEST(AViewer, SeesTheEndAndThenTheNextRun) {
    Hub hub;
    hub.begin_run({{"story", "first"}});
    hub.show_state(state_at(1));
    Hub::Seen seen;
    (void)hub.news_for(seen);
    hub.show_end({{"exit_code", 121}});
    EXPECT_EQ(hub.news_for(seen).at("end").at("exit_code"), 121);
    hub.begin_run({{"story", "second"}});
    const Json news = hub.news_for(seen);
    EXPECT_EQ(news.at("run").at("story"), "second");
    EXPECT_FALSE(news.contains("end"));
    EXPECT_FALSE(news.contains("state"));
}

TEST(AViewer, WhoWaitsIsWokenByNewsAndAtTheEndOfTheServer) {
    Hub hub;
    hub.begin_run({});
    Hub::Seen seen;
    (void)hub.news_for(seen);
    const auto late = Hub::Clock::now() + std::chrono::minutes(5);
    std::thread teller([&] { hub.show_state(state_at(1)); });
    EXPECT_TRUE(hub.wait_for_news(seen, late));
    teller.join();
    (void)hub.news_for(seen);
    EXPECT_FALSE(hub.wait_for_news(seen, Hub::Clock::now()));
    std::thread closer([&] { hub.close(); });
    EXPECT_TRUE(hub.wait_for_news(seen, late));
    closer.join();
    EXPECT_TRUE(hub.is_closed());
}

}  // namespace
