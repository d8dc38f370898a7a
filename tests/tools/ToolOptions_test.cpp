// The client's own command line, and the queue its notices wait in.
#include <gtest/gtest.h>

#include <thread>

#include "NoticeQueue.h"
#include "ToolOptions.h"

namespace rcsctl {
namespace {

TEST(ToolOptionsTest, Parse_OptionsThenTheCommandWithItsOwnDashes) {
    ToolOptions o;
    std::string error;
    ASSERT_TRUE(parseToolOptions({"--slot", "2", "--json", "--factory", "1.0", "--timeout", "3", "--modem-socket",
                       "/tmp/m.sock", "set-config", "doc.xml", "--gzip"}, &o, &error)) << error;
    EXPECT_EQ(2, o.slot);
    EXPECT_TRUE(o.json);
    EXPECT_TRUE(o.factory_1_0);
    EXPECT_EQ(3000, o.timeoutMs);
    EXPECT_EQ("/tmp/m.sock", o.modemSocket);
    EXPECT_EQ((std::vector<std::string>{"set-config", "doc.xml", "--gzip"}), o.command);
    ASSERT_TRUE(parseToolOptions({"--script", "-", "--keep-going"}, &o, &error)) << error;
    EXPECT_EQ("-", o.script);
    EXPECT_TRUE(o.keepGoing);
    EXPECT_TRUE(o.command.empty());
}

TEST(ToolOptionsTest, Parse_ServiceTakesANameOnlyWhenTheNextWordIsNoCommand) {
    struct Case {
        std::vector<std::string> args;
        std::string name;
        std::vector<std::string> command;
    };
    const Case cases[] = {
        {{"--service", "dump"}, "default", {"dump"}},
        {{"--service", "lab", "dump"}, "lab", {"dump"}},
        {{"--service=dump", "list-services"}, "dump", {"list-services"}},
        {{"--service", "--registry", "/tmp/r", "--replay-config", "slot", "2"}, "default", {"slot", "2"}},
    };
    for (const auto& c : cases) {
        ToolOptions o;
        std::string error;
        ASSERT_TRUE(parseToolOptions(c.args, &o, &error)) << error;
        EXPECT_TRUE(o.attach);
        EXPECT_EQ(c.name, o.serviceName);
        EXPECT_EQ(c.command, o.command);
    }
    ToolOptions o;
    std::string error;
    ASSERT_TRUE(parseToolOptions({"--service", "--registry", "/tmp/r", "--replay-config", "dump"}, &o, &error));
    EXPECT_EQ("/tmp/r", o.registryDir);
    EXPECT_TRUE(o.replayConfig);
    EXPECT_FALSE(parseToolOptions({"--service", "--modem-socket", "/tmp/m.sock", "dump"}, &o, &error));
    EXPECT_EQ("--modem-socket is for a service started here; an attached service has its own modem", error);
    EXPECT_FALSE(parseToolOptions({"--service=", "dump"}, &o, &error));
}

TEST(ToolOptionsTest, Parse_BadSlotFactoryTimeoutOrMissingCommandAreRefused) {
    ToolOptions o;
    std::string error;
    EXPECT_FALSE(parseToolOptions({"--slot", "3", "dump"}, &o, &error));
    EXPECT_EQ("bad slot '3': the slot is 1 or 2", error);
    EXPECT_FALSE(parseToolOptions({"--factory", "2.0", "dump"}, &o, &error));
    EXPECT_EQ("bad factory version '2.0': 1.0 or 1.1", error);
    EXPECT_FALSE(parseToolOptions({"--timeout", "0", "dump"}, &o, &error));
    EXPECT_FALSE(parseToolOptions({"--slot"}, &o, &error));
    EXPECT_EQ("option --slot needs a value", error);
    EXPECT_FALSE(parseToolOptions({"--json"}, &o, &error));
    EXPECT_EQ("no command given (try: rcsconfigctl --help)", error);
    EXPECT_FALSE(parseToolOptions({"--script", "s.rcs", "dump"}, &o, &error));
    EXPECT_EQ("give either a command or --script, not both", error);
    EXPECT_FALSE(parseToolOptions({"--jsn", "dump"}, &o, &error));
    EXPECT_EQ("unknown option '--jsn' (try: rcsconfigctl --help)", error);
}

Notice notice(Notice::Kind kind, int slot) {
    Notice n;
    n.kind = kind;
    n.slot = slot;
    return n;
}

TEST(NoticeQueueTest, WaitFor_TakesEverythingUpToTheMatchInOrderOrTimesOutLeavingTheQueue) {
    NoticeQueue q;
    q.push(notice(Notice::Kind::Change, 1));
    q.push(notice(Notice::Kind::Reconfig, 2));
    q.push(notice(Notice::Kind::Reconfig, 1));
    std::vector<Notice> taken;
    auto isToken = [](const Notice& n) { return n.kind == Notice::Kind::TokenRequest; };
    EXPECT_FALSE(q.waitFor(isToken, std::chrono::milliseconds(1), &taken));
    EXPECT_TRUE(taken.empty());
    ASSERT_TRUE(q.waitFor([](const Notice& n) { return n.kind == Notice::Kind::Reconfig && n.slot == 2; },
                          std::chrono::milliseconds(0), &taken));
    ASSERT_EQ(2u, taken.size());
    EXPECT_EQ(Notice::Kind::Change, taken[0].kind);
    EXPECT_EQ(2, taken[1].slot);

    // Another thread's notice wakes the waiter: a wait nobody woke would
    // outlast the test's limit. The pause lets the waiter fall asleep first.
    taken.clear();
    std::thread pusher([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        q.push(notice(Notice::Kind::TokenRequest, 1));
    });
    EXPECT_TRUE(q.waitFor(isToken, std::chrono::hours(1), &taken));
    pusher.join();
    ASSERT_EQ(2u, taken.size());
    EXPECT_EQ(1, taken[0].slot);
    EXPECT_TRUE(q.drain().empty());
}

TEST(NoticeQueueTest, WaitFor_AStopOrAServiceDeathEndsAWaitWithoutAMatch) {
    NoticeQueue q;
    std::thread stopper([&] { q.push(Notice{}); });
    std::vector<Notice> taken;
    EXPECT_FALSE(q.waitFor([](const Notice&) { return false; }, std::chrono::seconds(30), &taken));
    stopper.join();
    EXPECT_TRUE(q.stopped());

    // A death stays queued for whoever reads the notices next.
    NoticeQueue died;
    died.push(notice(Notice::Kind::ServiceDied, 0));
    died.push(notice(Notice::Kind::Reconfig, 1));
    EXPECT_FALSE(died.waitFor([](const Notice& n) { return n.kind == Notice::Kind::Reconfig; },
                              std::chrono::seconds(30), &taken));
    EXPECT_TRUE(died.serviceDied());
    EXPECT_EQ(2u, died.drain().size());
    EXPECT_FALSE(died.serviceDied());
}

TEST(AwaitedTest, Wait_KeepsTheFirstAnswerAndAbandonEndsAWaitWithoutOne) {
    Awaited<int> a;
    int v = 0;
    EXPECT_FALSE(a.wait(std::chrono::milliseconds(1), &v));
    std::thread abandoner([&] { a.abandon(); });
    EXPECT_FALSE(a.wait(std::chrono::seconds(30), &v));
    abandoner.join();
    Awaited<int> answered;
    answered.set(5);
    answered.set(6);
    answered.abandon();
    ASSERT_TRUE(answered.wait(std::chrono::milliseconds(0), &v));
    EXPECT_EQ(5, v);
}

}  // namespace
}  // namespace rcsctl
