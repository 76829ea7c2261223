// The Windows operations that the service is written against: the layer's only face.
//
// On Windows they are the system's own. Elsewhere they are the layer's in linux/, with the same names,
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
#include "platform/linux/faces/console.h"
#include "platform/linux/faces/event_log.h"
#include "platform/linux/faces/file.h"
#include "platform/linux/faces/handle.h"
#include "platform/linux/faces/heap.h"
#include "platform/linux/faces/ini_file.h"
#include "platform/linux/faces/ip_helper.h"
#include "platform/linux/faces/library.h"
#include "platform/linux/faces/message_queue.h"
#include "platform/linux/faces/registry.h"
#include "platform/linux/faces/service_manager.h"
#include "platform/linux/faces/socket.h"
#include "platform/linux/faces/text.h"
#include "platform/linux/faces/thread.h"
#include "platform/linux/faces/types.h"
#include "platform/linux/faces/wait.h"
#endif
