#pragma once

#include <QString>
#include <functional>

// The name of the person using the program, as stamped on local changes
// (`lastModBy`). By default the account's full name (or its login name);
// the contacts bridge replaces the provider with the name of the user's own
// card.
class CurrentUser {
public:
    using NameProvider = std::function<QString()>;

    static QString name();
    // An empty provider restores the default.
    static void setNameProvider(NameProvider provider);
    // The account's full name, else its login name, else empty.
    // Looked up once per process.
    static QString accountName();

private:
    static QString lookUpAccountName();
};
