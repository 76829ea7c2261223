// The end of a request's road, where all that became of it is known as plain values: what is counted, and
// what is kept of its client for an operator who asks.
#pragma once

#include "database/lookup/find_client.h"
#include "diagnostics/outcome.h"
#include "request/reply_delivery.h"

struct RequestOutcome {
    int status = FindUnknownClient;      // of the lookup, if it came so far
    Refusal refusal = Refusal::NotSent;  // unless a reply was sent
    DeliveryOutcome delivery;            // if one was tried
    ClientEntry* listed = nullptr;       // the client's entry, if it was looked up and is in the list
};

// `local` is the address of the receiving interface. The packet is as its road has left it.
void CountOutcome(const RequestOutcome& outcome, const RequestContext& context, IpAddress local);
