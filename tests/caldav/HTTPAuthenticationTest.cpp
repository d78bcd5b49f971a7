#include <gtest/gtest.h>

#include <QCryptographicHash>

#include "caldav/HTTPAuthentication.h"

namespace {

QByteArray md5(const QByteArray &data) {
    return QCryptographicHash::hash(data, QCryptographicHash::Md5).toHex();
}

TEST(HTTPAuthenticationTest, SplitsSeveralChallengesOfOneHeader) {
    EXPECT_EQ(HTTPAuthentication::challengesOf(
                  {"Negotiate, Digest realm=\"r\", qop=\"auth,auth-int\", nonce=\"n\", "
                   "Basic realm=\"b\"",
                   "NTLM"}),
              QStringList({"Negotiate", "Digest realm=\"r\", qop=\"auth,auth-int\", nonce=\"n\"",
                           "Basic realm=\"b\"", "NTLM"}));
    EXPECT_EQ(HTTPAuthentication::challengesOf({"Basic realm=\"x\"\nDigest realm=\"y\""}),
              QStringList({"Basic realm=\"x\"", "Digest realm=\"y\""}));
    EXPECT_TRUE(HTTPAuthentication::challengesOf({""}).isEmpty());
}

TEST(HTTPAuthenticationTest, AnswersDigestBeforeBasicAndNothingElse) {
    EXPECT_FALSE(HTTPAuthentication::canAnswer({"Negotiate", "NTLM"}));
    EXPECT_EQ(HTTPAuthentication::authorization({"Negotiate"}, "GET", "/", "u", "p", "c"),
              std::nullopt);
    EXPECT_TRUE(HTTPAuthentication::canAnswer({"Negotiate", "Basic realm=\"x\""}));
    EXPECT_EQ(
        HTTPAuthentication::authorization({"Basic realm=\"x\""}, "GET", "/", "user", "pass", "c"),
        "Basic dXNlcjpwYXNz");

    // The worked example of the Digest scheme (qop "auth", MD5).
    const std::optional<QByteArray> digest = HTTPAuthentication::authorization(
        {"Basic realm=\"other\"",
         "Digest realm=\"testrealm@host.com\", qop=\"auth,auth-int\", "
         "nonce=\"dcd98b7102dd2f0e8b11d0f600bfb0c093\", "
         "opaque=\"5ccc069c403ebaf9f0171e9517f40e41\""},
        "GET", "/dir/index.html", "Mufasa", "Circle Of Life", "0a4f113b");
    ASSERT_TRUE(digest.has_value());
    EXPECT_TRUE(digest->startsWith("Digest username=\"Mufasa\", realm=\"testrealm@host.com\""));
    EXPECT_TRUE(digest->contains("response=\"6629fae49393a05397450978507c4ef1\""));
    EXPECT_TRUE(digest->contains("opaque=\"5ccc069c403ebaf9f0171e9517f40e41\""));
    EXPECT_TRUE(digest->contains("qop=auth, nc=00000001, cnonce=\"0a4f113b\""));

    // Without qop: the response covers the nonce and the request only.
    const std::optional<QByteArray> plain = HTTPAuthentication::authorization(
        {"Digest realm=\"r\", nonce=\"n\""}, "PUT", "/c/x.ics", "u", "p", "c");
    const QByteArray expected = md5(md5("u:r:p") + ":n:" + md5("PUT:/c/x.ics"));
    EXPECT_TRUE(plain->contains("response=\"" + expected + '"'));
    EXPECT_FALSE(plain->contains("qop"));

    // Integrity protection only, or an unknown algorithm: Basic if offered.
    EXPECT_EQ(HTTPAuthentication::authorization(
                  {"Digest realm=\"r\", nonce=\"n\", qop=\"auth-int\"", "Basic realm=\"r\""}, "GET",
                  "/", "u", "p", "c"),
              "Basic dTpw");
    EXPECT_EQ(
        HTTPAuthentication::authorization({"Digest realm=\"r\", nonce=\"n\", algorithm=SHA-512"},
                                          "GET", "/", "u", "p", "c"),
        std::nullopt);
}

}  // namespace
