/* kestrin_widget.h: the widget extension's entry points as plain C, for the
 * WidgetKit timeline, the Control Center value provider and the set-limit
 * intent, which are not written in C++.
 *
 *   char *json = kestrin_widget_snapshot_json();        // NULL: show the placeholder
 *   ...
 *   kestrin_widget_free(json);
 *
 *   char *message = NULL;
 *   if (!kestrin_limit_set(false, &message)) {          // waits up to three seconds
 *     show(message);
 *     kestrin_widget_free(message);
 *   }
 *
 * Every string returned belongs to the caller, who gives it back with
 * kestrin_widget_free. Texts are UTF-8 in the current language. Each call
 * finds the application group afresh; none keeps state between calls, and
 * any of them may be called from any thread.
 */
#ifndef KESTRIN_WIDGET_H
#define KESTRIN_WIDGET_H

#include <stdbool.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The application's latest widget snapshot as a JSON object (ISO 8601 dates
 * in whole seconds), from the group's file or else its preferences copy;
 * stale or not. NULL when there is none. */
char *kestrin_widget_snapshot_json(void);

/* Whether that snapshot is older than three hours (or missing): the widget
 * then shows its placeholder. */
bool kestrin_widget_snapshot_is_stale(void);

/* The catalogue text for `key` in the current language, `english` when the
 * catalogue has none (NULL `english`: the empty text). Never NULL unless
 * memory ran out. */
char *kestrin_widget_text(const char *key, const char *english);

/* The Control Center toggle's state: true when a fresh snapshot shows the
 * charge limit on. */
bool kestrin_limit_current_value(void);

/* Asks the application to switch the limit on or off and waits for its
 * answer (up to three seconds, blocking the calling thread: call it off the
 * main thread). True when applied. Otherwise false, and when `message` is
 * not NULL it receives the text to show: the application's refusal, or the
 * note that the application is not running. */
bool kestrin_limit_set(bool on, char **message);

/* Frees a string returned by this interface; NULL is fine. */
void kestrin_widget_free(char *text);

#ifdef __cplusplus
}
#endif

#endif /* KESTRIN_WIDGET_H */
