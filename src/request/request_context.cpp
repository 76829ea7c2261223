#include "request/request_context.h"

#include "service/generation.h"

void ReleaseRequest(RequestContext* context) {
    HeapFree(RecordOf(context->blockOwner).ClientHeap, 0, context->packet);
    context->packet = nullptr;
    ReleaseGeneration(context->blockOwner);
    context->blockOwner = nullptr;
}
