/* The widget's C interface as a Swift extension would call it, from a plain
 * C program: a group folder of its own, a snapshot file written by hand, and
 * a switch request that nobody answers. */
#define _XOPEN_SOURCE 700

#include "KestrinWidget/kestrin_widget.h"

#include <ftw.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

static int failures = 0;

#define CHECK(condition)                                                      \
  do {                                                                        \
    if (!(condition)) {                                                       \
      fprintf(stderr, "%s:%d: failed: %s\n", __FILE__, __LINE__, #condition); \
      ++failures;                                                             \
    }                                                                         \
  } while (0)

static int removeEntry(const char *path, const struct stat *status, int flag, struct FTW *walk) {
  (void)status, (void)flag, (void)walk;
  return remove(path);
}

static double monotonicSeconds(void) {
  struct timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return (double)now.tv_sec + (double)now.tv_nsec / 1e9;
}

/* True when `text` is there and holds `part`; frees it. */
static int holds(char *text, const char *part) {
  const int found = text != NULL && strstr(text, part) != NULL;
  kestrin_widget_free(text);
  return found;
}

/* True when `text` is there and reads `expected`; frees it. */
static int same(char *text, const char *expected) {
  const int equal = text != NULL && strcmp(text, expected) == 0;
  kestrin_widget_free(text);
  return equal;
}

int main(void) {
  char group[] = "/tmp/kestrin-capi-XXXXXX";
  if (mkdtemp(group) == NULL) return perror("mkdtemp"), 1;
  setenv("KESTRIN_GROUP_DIR", group, 1);
  setenv("LC_ALL", "en_US.UTF-8", 1);

  /* Nothing written yet: the placeholder's case. */
  CHECK(kestrin_widget_snapshot_json() == NULL);
  CHECK(kestrin_widget_snapshot_is_stale());
  CHECK(!kestrin_limit_current_value());

  /* A snapshot written a minute ago, with the limit on at 80%. */
  char path[4096], at[32];
  const time_t written = time(NULL) - 60;
  struct tm utc;
  strftime(at, sizeof at, "%Y-%m-%dT%H:%M:%SZ", gmtime_r(&written, &utc));
  snprintf(path, sizeof path, "%s/snapshot.json", group);
  FILE *file = fopen(path, "w");
  CHECK(file != NULL);
  if (file != NULL) {
    fprintf(file, "{\"at\":\"%s\",\"percent\":82,\"limit\":80,\"charging\":false,\"mood\":\"holding\","
                  "\"headline\":\"Resting at 80%%\"}", at);
    CHECK(fclose(file) == 0);
  }
  CHECK(holds(kestrin_widget_snapshot_json(), "\"limit\":80,\"charging\":false,\"mood\":\"holding\""));
  CHECK(!kestrin_widget_snapshot_is_stale());
  CHECK(kestrin_limit_current_value());

  CHECK(same(kestrin_widget_text("limit.title", "Charge limit"), "Charge limit"));
  CHECK(same(kestrin_widget_text("no.such.key", NULL), ""));

  /* No application listens: the control gives up after about three seconds. */
  char *message = NULL;
  const double start = monotonicSeconds();
  CHECK(!kestrin_limit_set(false, &message));
  const double took = monotonicSeconds() - start;
  CHECK(same(message, "Kestrin isn't running yet. Open it once, then try again."));
  CHECK(took >= 2.9 && took < 8.0);
  kestrin_widget_free(NULL);

  nftw(group, removeEntry, 8, FTW_DEPTH | FTW_PHYS);
  if (failures == 0) printf("kestrin_widget C interface: all checks passed\n");
  return failures == 0 ? 0 : 1;
}
