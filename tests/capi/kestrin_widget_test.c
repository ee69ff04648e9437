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

#define CHECK(condition)                                               \
  do {                                                                 \
    if (!(condition)) {                                                \
      fprintf(stderr, "%s:%d: failed: %s\n", __FILE__, __LINE__, #condition); \
      ++failures;                                                      \
    }                                                                  \
  } while (0)

static const char *const kNotRunning = "Kestrin isn't running yet. Open it once, then try again.";

static int removeEntry(const char *path, const struct stat *status, int flag, struct FTW *walk) {
  (void)status;
  (void)flag;
  (void)walk;
  return remove(path);
}

static double monotonicSeconds(void) {
  struct timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return (double)now.tv_sec + (double)now.tv_nsec / 1e9;
}

/* A snapshot written a minute ago, with the limit on at 80%. */
static int writeSnapshot(const char *group) {
  char path[4096];
  char at[32];
  const time_t written = time(NULL) - 60;
  struct tm utc;
  gmtime_r(&written, &utc);
  strftime(at, sizeof at, "%Y-%m-%dT%H:%M:%SZ", &utc);
  snprintf(path, sizeof path, "%s/snapshot.json", group);
  FILE *file = fopen(path, "w");
  if (file == NULL) return 0;
  fprintf(file,
          "{\"at\":\"%s\",\"percent\":82,\"limit\":80,\"charging\":false,"
          "\"mood\":\"holding\",\"headline\":\"Resting at 80%%\"}",
          at);
  return fclose(file) == 0;
}

int main(void) {
  char group[] = "/tmp/kestrin-capi-XXXXXX";
  if (mkdtemp(group) == NULL) {
    perror("mkdtemp");
    return 1;
  }
  setenv("KESTRIN_GROUP_DIR", group, 1);
  setenv("LC_ALL", "en_US.UTF-8", 1);

  /* Nothing written yet: the placeholder's case. */
  char *json = kestrin_widget_snapshot_json();
  CHECK(json == NULL);
  kestrin_widget_free(json);
  CHECK(kestrin_widget_snapshot_is_stale());
  CHECK(!kestrin_limit_current_value());

  CHECK(writeSnapshot(group));
  json = kestrin_widget_snapshot_json();
  CHECK(json != NULL);
  if (json != NULL) {
    CHECK(strstr(json, "\"limit\":80") != NULL);
    CHECK(strstr(json, "\"mood\":\"holding\"") != NULL);
  }
  kestrin_widget_free(json);
  CHECK(!kestrin_widget_snapshot_is_stale());
  CHECK(kestrin_limit_current_value());

  char *title = kestrin_widget_text("limit.title", "Charge limit");
  CHECK(title != NULL && strcmp(title, "Charge limit") == 0);
  kestrin_widget_free(title);
  char *unknown = kestrin_widget_text("no.such.key", NULL);
  CHECK(unknown != NULL && strcmp(unknown, "") == 0);
  kestrin_widget_free(unknown);

  /* No application listens: the control gives up after about three seconds. */
  char *message = NULL;
  const double start = monotonicSeconds();
  CHECK(!kestrin_limit_set(false, &message));
  const double took = monotonicSeconds() - start;
  CHECK(message != NULL && strcmp(message, kNotRunning) == 0);
  CHECK(took >= 2.9 && took < 8.0);
  kestrin_widget_free(message);
  kestrin_widget_free(NULL);

  nftw(group, removeEntry, 8, FTW_DEPTH | FTW_PHYS);
  if (failures == 0) printf("kestrin_widget C interface: all checks passed\n");
  return failures == 0 ? 0 : 1;
}
