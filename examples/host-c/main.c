/* SPDX-License-Identifier: Apache-2.0 */
/* A service on the C interface: host-c LIST.json [DEVICE.json, which takes this machine's place] */
#include <semaphore.h>
#include <stdio.h>
#include <stdlib.h>

#include "yox/c/yox.h"

static void check(yox_status status) {
  if (status == YOX_OK) return;
  fprintf(stderr, "host-c: %s: %s\n", yox_status_name(status), yox_error_message());
  exit(1);
}

static size_t read_file(const char* name, char* text, size_t size) {
  FILE* const file = fopen(name, "rb");
  const size_t found = file == NULL ? 0 : fread(text, 1, size, file);
  if (file == NULL || fclose(file) != 0) perror(name), exit(1);
  return found;
}

static sem_t arrived;
static void notified(void* event, const yox_notification* notification) {
  if (notification->topic != 41) return;
  *(int32_t*)event = notification->event;
  sem_post(&arrived);
}

int main(int count, char** arguments) {
  static char list_text[1 << 16], profile[1 << 16];
  yox_runtime_options options = YOX_INIT(yox_runtime_options);
  yox_explained explained = YOX_INIT(yox_explained);
  yox_explained_filter filter = YOX_INIT(yox_explained_filter);
  yox_explained_criterion criterion = YOX_INIT(yox_explained_criterion);
  yox_verdict verdict = YOX_INIT(yox_verdict);
  const yox_pair tag = {"Ring", "beta"};
  yox_runtime* runtime;
  yox_explanation* explanation;
  yox_facts* facts;
  yox_list* list;
  yox_string* reason;
  yox_subscription* subscription;
  int32_t event = 0, applies;

  if (count < 2) return 1;
  check(yox_list_read(list_text, read_file(arguments[1], list_text, sizeof list_text), &list));
  if (count > 2) {
    options.profile = profile;
    options.profile_size = read_file(arguments[2], profile, sizeof profile);
  }
  options.watch = 1;
  check(yox_runtime_start(&options, &runtime));

  check(yox_device_decide(runtime, list, NULL, &applies, &reason));
  printf("%s\n%s\n", applies ? "applies" : "does not apply", yox_string_data(reason));
  check(yox_device_explain(runtime, list, NULL, &explanation));
  check(yox_explanation_get(explanation, &explained));
  for (size_t i = 0; i < explained.filter_count; ++i) {
    check(yox_explanation_filter(explanation, i, &filter));
    for (size_t j = 0; j < filter.criterion_count; ++j) {
      check(yox_explanation_criterion(explanation, i, j, &criterion));
      printf("  %s %s\n", criterion.field.data, criterion.result == YOX_HELD ? "held" : "failed");
    }
  }
  check(yox_device_facts(runtime, (const yox_list* const*)&list, 1, &facts));
  check(yox_decide(list, facts, NULL, &verdict));
  printf("on its facts: %d\n", (int)verdict.applies);

  check(yox_tags_add(runtime, &tag, 1, 1));
  sem_init(&arrived, 0, 0);
  check(yox_bus_subscribe(runtime, notified, &event, 0, &subscription));
  check(yox_bus_publish(runtime, 41, 7, "{}", NULL));
  sem_wait(&arrived);
  printf("notified: %d\n", (int)event);
  yox_bus_unsubscribe(subscription);
  yox_runtime_stop(runtime);
  yox_facts_free(facts), yox_explanation_free(explanation);
  yox_string_free(reason), yox_list_free(list);
}
