#pragma once

#include <QString>
#include <QStringList>
#include <functional>

// The e-mail addresses on the user's own contact card, so that two different
// addresses of the user count as the same person. Nothing is known until the
// contacts bridge installs a provider.
class OwnAddresses {
public:
    using Provider = std::function<QStringList()>;

    // Whether `address` is one of the user's addresses, without regard to case.
    static bool contains(const QString &address);
    // Every address of the card, in the card's order; empty without a provider.
    static QStringList addresses();
    // The provider is asked at every call, from any thread, so it should
    // answer from memory. An empty provider restores the default, which knows
    // no addresses.
    static void setProvider(Provider provider);
};
