#pragma once

#include <QString>

class ModelObject;

// The kinds of remote service, as stored in a RemoteService's `serviceName`.
namespace ServiceKind {
inline constexpr char kCalDAV[] = "CalDAV Synchronization";
inline constexpr char kExchange[] = "Exchange Synchronization";
inline constexpr char kBonjourSubscribe[] = "Bonjour Subscribe Synchronization";
inline constexpr char kBonjourPublish[] = "Bonjour Publish Synchronization";
inline constexpr char kWebDAVSubscribe[] = "WebDAV Subscribe Synchronization";
inline constexpr char kBirthdays[] = "AddressBook Birthday Synchronization";

// The `serviceName` of `service`; empty without a service (a local calendar).
QString of(const ModelObject *service);
// Whether `service` exists and is of the kind.
bool is(const ModelObject *service, const char *kind);
}  // namespace ServiceKind
