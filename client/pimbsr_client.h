/* Which RP serves which group, as pimbsrd of this host knows it: follows the feed of its control
   socket and selects locally, as the daemon does. C99; the ABI only grows.

   One thread at a time for each client. What a function returns by pointer is the client's and is
   good until the next call of pimbsr_next() or pimbsr_close(). Structures are made by the library
   alone and get new members at their ends. */
#pragma once

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

typedef struct pimbsr_client pimbsr_client;

/* A mapping in use: an RP that serves a range of groups. */
typedef struct pimbsr_mapping {
  const char* vrf;         /* "default" */
  int family;              /* 4 or 6 */
  const char* group_range; /* "239.1.0.0/16" */
  const char* rp_address;  /* "192.0.2.1" */
  int bidirectional;       /* else sparse mode */
  unsigned priority;       /* the lowest is preferred */
  unsigned hash_mask_length;
  const char* zone;   /* whose BSR announces it */
  const char* origin; /* "bsr" */
} pimbsr_mapping;

enum pimbsr_operation {
  PIMBSR_PRESENT = 1, /* there when the subscription began */
  PIMBSR_LIVE = 2,    /* all that was there has been told; has no mapping */
  PIMBSR_ADD = 3,
  PIMBSR_UPDATE = 4,
  PIMBSR_REMOVE = 5
};

typedef struct pimbsr_event {
  int operation;                 /* one of pimbsr_operation; pass over what you do not know */
  const pimbsr_mapping* mapping; /* NULL if it has none */
  uint64_t generation; /* of a change: one more than that of the last one of its VRF and family */
  uint64_t digest;     /* of a change: of all mappings of its VRF and family after it */
  const char* time;    /* of a change: "2026-11-22T07:24:16.000000Z" */
} pimbsr_event;

/* Connects to the control socket, pimbsrd's usual one if `path` is NULL, and asks for the mappings
   of one VRF and family (4, 6), of all where it is NULL or 0. Waits for the socket, not for an
   answer. NULL if there is no daemon; errno then says why. */
pimbsr_client* pimbsr_connect(const char* path, const char* vrf, int family);
/* NULL is ignored. */
void pimbsr_close(pimbsr_client* client);

/* To wait for; readable means that pimbsr_next() may have something. */
int pimbsr_fd(const pimbsr_client* client);

/* The next event, waiting for it up to `timeout_ms` (-1: for ever, 0: not at all). NULL: none came,
   or the connection is lost for good, which pimbsr_error() tells apart. An event has been applied
   to what the functions below answer from. */
const pimbsr_event* pimbsr_next(pimbsr_client* client, int timeout_ms);
/* Why the connection is lost; NULL while it is not. Connect anew, after a pause. */
const char* pimbsr_error(const pimbsr_client* client);
/* Whether PIMBSR_LIVE has been told: until then answers rest on a part of the mappings. */
int pimbsr_live(const pimbsr_client* client);

/* The mapping that serves a group (RFC 6226 section 6), chosen as routers do; "default" if `vrf` is
   NULL. NULL if none does, or the text is no address. */
const pimbsr_mapping* pimbsr_select(pimbsr_client* client, const char* vrf, const char* group);
/* The digest of the mappings of a VRF and family as this client holds them; 0 if it holds none. It
   is equal on all routers that agree. */
uint64_t pimbsr_digest(const pimbsr_client* client, const char* vrf, int family);
size_t pimbsr_count(const pimbsr_client* client, const char* vrf, int family);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif
