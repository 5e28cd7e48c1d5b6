/* Prints which RP serves the groups of the command line, now and whenever it changes, with the digest of
   all mappings, which is equal on routers that agree:

       consumer 239.1.2.3 ff3e::1

   A program of your own does with it what it likes. Builds with -lpimbsr-client. */
#include <errno.h>
#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "pimbsr_client.h"

enum { MAX_GROUPS = 64, RP_LENGTH = 64 };

static char shown[MAX_GROUPS][RP_LENGTH];
static uint64_t known[2];

static void show(pimbsr_client* client, char** groups, int count) {
  for (int i = 0; i < count; ++i) {
    const pimbsr_mapping* mapping = pimbsr_select(client, NULL, groups[i]);
    const char* rp = mapping != NULL ? mapping->rp_address : "none";
    if (strcmp(shown[i], rp) == 0) continue;
    snprintf(shown[i], RP_LENGTH, "%s", rp);
    printf("%s %s\n", groups[i], rp);
  }
  for (int i = 0; i < 2; ++i) {
    const uint64_t digest = pimbsr_digest(client, NULL, i == 0 ? 4 : 6);
    if (digest == known[i]) continue;
    known[i] = digest;
    printf("IPv%d digest %016" PRIx64 "\n", i == 0 ? 4 : 6, digest);
  }
  fflush(stdout);
}

/* Until the daemon ends or this program has fallen too far behind. */
static void follow(pimbsr_client* client, char** groups, int count) {
  while (pimbsr_error(client) == NULL) {
    if (pimbsr_next(client, -1) != NULL && pimbsr_live(client)) show(client, groups, count);
  }
  fprintf(stderr, "consumer: %s\n", pimbsr_error(client));
}

int main(int argc, char** argv) {
  if (argc < 2 || argc > MAX_GROUPS + 1) {
    fprintf(stderr, "usage: consumer GROUP... ($PIMBSR_SOCKET names the control socket)\n");
    return 2;
  }
  for (;;) {
    pimbsr_client* client = pimbsr_connect(getenv("PIMBSR_SOCKET"), NULL, 0);
    if (client == NULL) {
      fprintf(stderr, "consumer: no daemon: %s\n", strerror(errno));
    } else {
      follow(client, argv + 1, argc - 1);
      pimbsr_close(client);
    }
    sleep(1); /* what was there is told again */
  }
}
