#include <gtest/gtest.h>

#include "QtPrinters.h"
#include "model/util/Links.h"

namespace {

std::string detected(const QString &text) {
    const std::optional<QUrl> url = detectedURL(text);
    return url ? url->toString(QUrl::FullyEncoded).toStdString() : std::string("(none)");
}

TEST(Links, FindsWebLinksInEventNotes) {
    EXPECT_EQ(detected("Agenda: https://docs.example.com/d/1AbC_x-y/edit?usp=sharing (see page 2)"),
              "https://docs.example.com/d/1AbC_x-y/edit?usp=sharing");
    EXPECT_EQ(
        detected(
            "Dial in: +1 555 0100, PIN 1234.\nJoin at https://meet.example.com/j/123?pwd=Xy9."),
        "https://meet.example.com/j/123?pwd=Xy9");
    EXPECT_EQ(detected("Tickets (www.example-theatre.com/shows/42)!"),
              "http://www.example-theatre.com/shows/42");
    EXPECT_EQ(detected("files at ftp://files.example.org/pub/plan.pdf, thanks"),
              "ftp://files.example.org/pub/plan.pdf");
    EXPECT_EQ(detected("See https://en.example.org/wiki/Foo_(bar)."),
              "https://en.example.org/wiki/Foo_(bar)");
    EXPECT_EQ(detected("Where: http://localhost:8080/cal?x=1&y=2"),
              "http://localhost:8080/cal?x=1&y=2");
}

TEST(Links, TheFirstLinkWinsAndEmailsAreLinksToo) {
    EXPECT_EQ(detected("Questions to jane.doe+cal@example.co.uk; slides on https://x.example/s"),
              "mailto:jane.doe+cal@example.co.uk");
    EXPECT_EQ(detected("https://first.example/a then https://second.example/b"),
              "https://first.example/a");
    EXPECT_EQ(detected("Organizer: <mailto:bob@example.org>"), "mailto:bob@example.org");
}

TEST(Links, OutlookStyleLinksInAngleBrackets) {
    EXPECT_EQ(detected("Join the meeting "
                       "now<https://teams.example.com/l/meetup-join/19%3ameeting_N2Q%40thread.v2/"
                       "0?context=%7b%22Tid%22%3a%2272f9%22%7d>\r\nMeeting ID: 123"),
              "https://teams.example.com/l/meetup-join/19%3Ameeting_N2Q%40thread.v2/"
              "0?context=%7B%22Tid%22%3A%2272f9%22%7D");
}

TEST(Links, BlockSyntaxNeverHidesALink) {
    // Indented lines would be a code block, a fence would swallow the rest, an
    // HTML block or a reference definition would hide the line.
    EXPECT_EQ(detected("Notes:\n\n    https://indented.example/a"), "https://indented.example/a");
    EXPECT_EQ(detected("\t\twww.tabbed.example"), "http://www.tabbed.example");
    EXPECT_EQ(detected("```\nhttps://fenced.example/x\n```"), "https://fenced.example/x");
    EXPECT_EQ(detected("<div>\nhttps://html-block.example/\n</div>"),
              "https://html-block.example/");
    EXPECT_EQ(detected("[1]: https://reference.example/def"), "https://reference.example/def");
    EXPECT_EQ(detected("Run `https://code-span.example/x` here"), "https://code-span.example/x");
    EXPECT_EQ(detected("> quoted https://quote.example\n- item www.list.example"),
              "https://quote.example");
    EXPECT_EQ(detected("# Heading https://heading.example"), "https://heading.example");
}

TEST(Links, NonASCIICharactersAreEscaped) {
    EXPECT_EQ(detected("Route: https://maps.example.de/Köln Hbf"),
              "https://maps.example.de/K%C3%B6ln");
    EXPECT_EQ(detected("https://example.com/q?name=\"x\""), "https://example.com/q?name=%22x");
}

TEST(Links, TextWithoutLinks) {
    for (const char *text :
         {"Lunch with Anna at 12:30", "Bring the report.txt and e.g. the budget", "a.b@c",
          "Call me: tel:+49", "[agenda](notes)", "https://", "WWW is not a link", ""}) {
        EXPECT_FALSE(isURL(QString::fromUtf8(text))) << text;
        EXPECT_EQ(detectedURL(QString::fromUtf8(text)), std::nullopt) << text;
    }
    EXPECT_TRUE(isURL("x https://example.com"));
}

TEST(Links, MailToAddresses) {
    EXPECT_EQ(mailtoURIFromAddress(QString("tom&jerry@example.org")),
              QString("mailto:tom%26jerry@example.org"));
    EXPECT_EQ(mailtoURIFromAddress(std::nullopt), std::nullopt);
    EXPECT_EQ(addressFromMailtoURI("MAILTO:tom%26jerry@example.org"), "tom&jerry@example.org");
    EXPECT_EQ(addressFromMailtoURI("mailto:bob@example.org"), "bob@example.org");
    EXPECT_EQ(addressFromMailtoURI("bob%40example.org"), "bob@example.org");
    const QString address = "Jürgen Groß?&#%@example.de";
    EXPECT_EQ(addressFromMailtoURI(*mailtoURIFromAddress(address)), address);
}

TEST(Links, DomainDropsTheFirstLabelOfLongHosts) {
    EXPECT_EQ(domain(QUrl("https://caldav.calendar.example.com/dav/")), "calendar.example.com");
    EXPECT_EQ(domain(QUrl("https://p42-caldav.example.com:443/")), "example.com");
    EXPECT_EQ(domain(QUrl("https://example.com/")), "example.com");
    EXPECT_EQ(domain(QUrl("http://localhost/")), "localhost");
    EXPECT_EQ(domain(QUrl("http://192.168.1.20:8008/")), "192.168.1.20");
    EXPECT_EQ(domain(QUrl("http://[fe80::1]/")), "fe80::1");
    EXPECT_EQ(domain(QUrl("https://CalDAV.Example.COM/")), "example.com");
}

}  // namespace
