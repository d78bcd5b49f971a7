#pragma once

#include <QString>
#include <optional>

#include "model/ServiceEngine.h"

class CommonDataMO;
class ModelObject;

// The questions the object model asks of the Exchange engine about one
// Exchange account (`exchangeService`) and its folders.
class ExchangeEngine : public ServiceEngine {
public:
    // The hosted service is named after itself; every other server is plain.
    enum class ServerType { OnPremises, Office365 };

    virtual ServerType serverType(const ModelObject *exchangeService) const = 0;

    // The kind of a folder of the account (by the mailbox it lives in). The
    // user cannot stop subscribing to a folder of kind
    // kAlwaysSubscribedContainerType.
    static constexpr int kAlwaysSubscribedContainerType = 2;
    virtual int typeOfContainer(const CommonDataMO *container,
                                const ModelObject *exchangeService) const = 0;
    // The account keeps files attached to items.
    virtual bool supportsAttachments(const ModelObject *exchangeService) const = 0;

    // The address of the user as the owner of `container` (none when the
    // account does not know it) and, through `userName` when given, the name
    // that goes with it (empty when unknown).
    virtual std::optional<QString> bestUserAddressForContainer(
        const CommonDataMO *container, QString *userName,
        const ModelObject *exchangeService) const = 0;

    // Gives a new item of an Exchange calendar the account's defaults.
    virtual void setDefaultsForNewEvent(CommonDataMO *item) const = 0;
};
