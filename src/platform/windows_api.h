// The Windows operations that the service is written against: the layer's only face.
//
// On Windows they are the system's own. Elsewhere they are the layer's in posix/, with the same names,
// signatures, constants and error numbers, and with just the operations that the service uses.
#pragma once

#ifdef _WIN32
#define FD_SETSIZE 255  // one read set has to hold every socket of the service
#include <winsock2.h>
// winsock2.h has to come first
#include <iphlpapi.h>
#include <string.h>
#include <time.h>
#include <windows.h>
#else
#include "platform/posix/event_log.h"
#include "platform/posix/file.h"
#include "platform/posix/handle.h"
#include "platform/posix/heap.h"
#include "platform/posix/ini_file.h"
#include "platform/posix/ip_helper.h"
#include "platform/posix/library.h"
#include "platform/posix/message_queue.h"
#include "platform/posix/registry.h"
#include "platform/posix/service_manager.h"
#include "platform/posix/socket.h"
#include "platform/posix/text.h"
#include "platform/posix/thread.h"
#include "platform/posix/types.h"
#include "platform/posix/wait.h"
#endif
