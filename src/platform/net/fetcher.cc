#include "platform/net/fetcher.h"

#include <ifaddrs.h>
#include <net/if.h>
#include <sys/socket.h>

#include "platform/net/backend.h"

namespace vistara::net {

std::string StatusName(int status) {
  switch (status) {
    case kStatusInFlight: return "in flight";
    case kStatusOk: return "ok";
    case kStatusCancelled: return "cancelled";
    case kStatusHostNotFound: return "host not found";
    case kStatusConnectionRefused: return "connection refused";
    case kStatusTimedOut: return "timed out";
    case kStatusCutShort: return "reply cut short or too large";
    case kStatusProtocolError: return "protocol error";
    case kStatusNoConnection: return "no connection";
    case kStatusFailed: return "failed";
    default: break;
  }
  if (status >= 100 && status <= 999) return "http " + std::to_string(status);
  return "unknown " + std::to_string(status);
}

Fetcher::FetchParams::FetchParams() : headers(HeapManager::GetTransientHeap()) {}

RefPtr<Fetcher> Fetcher::fetch(const FetchParams& params, MemoryManager* /*mm*/) {
  return CurrentBackend()->Start(params);
}

bool GetInternetConnectionStatus() {
  ifaddrs* list = nullptr;
  if (getifaddrs(&list) != 0) return false;
  bool connected = false;
  for (const ifaddrs* a = list; a && !connected; a = a->ifa_next) {
    const unsigned up = IFF_UP | IFF_RUNNING;
    connected = a->ifa_addr && (a->ifa_flags & up) == up && !(a->ifa_flags & IFF_LOOPBACK) &&
                (a->ifa_addr->sa_family == AF_INET || a->ifa_addr->sa_family == AF_INET6);
  }
  freeifaddrs(list);
  return connected;
}

}  // namespace vistara::net
