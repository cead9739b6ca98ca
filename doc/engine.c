/* A small engine: logs in with the user name and password it is given,
 * waits for the plug-in's answer and says who is logged in. It shows what
 * every engine does: register the callback, escape the texts it hands over,
 * take the one notification from the transport's thread, release the record
 * with the plug-in's function and the notification with free().
 *
 *   cc doc/engine.c -o engine $(pkg-config --cflags --libs pd-plugin)
 *   ./engine USER PASSWORD */
#include <pd-plugin/pd_plugin.h>
#include <pd-plugin/pd_records.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

static pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
static pthread_cond_t arrived = PTHREAD_COND_INITIALIZER;
static pd_notification *answer;

/* Runs on the transport's thread. */
static void on_notification(pd_notification *notification) {
  pthread_mutex_lock(&lock);
  if (answer == NULL) {
    answer = notification;
    notification = NULL;
  }
  pthread_cond_signal(&arrived);
  pthread_mutex_unlock(&lock);
  free(notification); /* only one is expected */
}

/* The plug-in writes texts into the request as they stand. */
static char *escaped(const char *text) {
  char *out = malloc(strlen(text) * 6 + 1), *at = out;
  if (out == NULL) return NULL;
  for (; *text != '\0'; ++text) {
    const char *entity = *text == '&' ? "&amp;" : *text == '<' ? "&lt;" : *text == '>' ? "&gt;"
                         : *text == '"' ? "&quot;" : *text == '\'' ? "&apos;" : NULL;
    if (entity != NULL) {
      strcpy(at, entity);
      at += strlen(entity);
    } else {
      *at++ = *text;
    }
  }
  *at = '\0';
  return out;
}

int main(int argc, char **argv) {
  if (argc != 3) {
    fprintf(stderr, "usage: %s USER PASSWORD\n", argv[0]);
    return 2;
  }
  void *handle = NULL;
  pd_init(&handle);
  pd_setattr(handle, PD_ATTR_ENGINE_CB, PD_ATTR_ENGINE_CB, (void *)on_notification);
  char *words[2] = {escaped(argv[1]), escaped(argv[2])};
  int sent = words[0] != NULL && words[1] != NULL && pd_sendreq(handle, PD_REQ_LOGIN, words, NULL) == PD_OK;
  free(words[0]);
  free(words[1]);

  pd_notification *notification = NULL;
  if (sent) {
    struct timespec until;
    clock_gettime(CLOCK_REALTIME, &until);
    until.tv_sec += 30;
    pthread_mutex_lock(&lock);
    while (answer == NULL && pthread_cond_timedwait(&arrived, &lock, &until) == 0) {
    }
    notification = answer;
    answer = NULL;
    pthread_mutex_unlock(&lock);
  }
  /* No callback runs once pd_finalize has returned; one that came after
   * the wait is released here. */
  pd_finalize(handle);
  free(answer);

  int status = 1;
  if (!sent) {
    puts("refused: nothing was sent");
  } else if (notification == NULL) {
    puts("no answer within 30 s");
  } else if (notification->iResult > 0) {
    xml_base *login = (xml_base *)notification->iResult;
    printf("logged in as %s\n", login->pszRemoteLoginInfoDisplayName ? login->pszRemoteLoginInfoDisplayName : "?");
    xml_login_delete(&login);
    status = 0;
  } else if (notification->iResult < 0) {
    printf("the gateway answered with error %ld\n", (long)notification->iResult);
  } else {
    printf("no answer (HTTP status %u)\n", (unsigned)notification->uHttpStatus);
  }
  free(notification);
  return status;
}
