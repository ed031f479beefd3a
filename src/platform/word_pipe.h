// A queue of 32-bit words from one thread to another.
#pragma once

#include <pthread.h>
#include <stdint.h>

namespace qrt::platform {

// Zeroed storage with `openPipe` behind it is an empty pipe. The sender never has more than `capacity` words
// under way.
template <uint32_t capacity>
struct WordPipe {
  pthread_mutex_t lock;
  pthread_cond_t filled;
  uint32_t sent;
  uint32_t received;
  bool receiverSleeps;
  int32_t words[capacity];
};

template <uint32_t capacity>
void openPipe(WordPipe<capacity>& pipe) {
  pthread_mutex_init(&pipe.lock, nullptr);
  pthread_cond_init(&pipe.filled, nullptr);
  pipe.sent = pipe.received = 0;
  pipe.receiverSleeps = false;
}

template <uint32_t capacity>
void closePipe(WordPipe<capacity>& pipe) {
  pthread_cond_destroy(&pipe.filled);
  pthread_mutex_destroy(&pipe.lock);
}

// Wakes a receiver that sleeps only once `wakeAt` words wait for it, so that it does them in one go.
template <uint32_t capacity>
void send(WordPipe<capacity>& pipe, int32_t word, uint32_t wakeAt = 1) {
  pthread_mutex_lock(&pipe.lock);
  pipe.words[pipe.sent++ % capacity] = word;
  if (pipe.receiverSleeps && pipe.sent - pipe.received >= wakeAt) {
    pipe.receiverSleeps = false;
    pthread_cond_signal(&pipe.filled);
  }
  pthread_mutex_unlock(&pipe.lock);
}

// For the sender: takes a word back while the receiver sleeps, as it does until it is woken by `send`.
template <uint32_t capacity>
bool takeBack(WordPipe<capacity>& pipe, int32_t& word) {
  pthread_mutex_lock(&pipe.lock);
  const bool any = pipe.receiverSleeps && pipe.sent != pipe.received;
  if (any) word = pipe.words[pipe.received++ % capacity];
  pthread_mutex_unlock(&pipe.lock);
  return any;
}

// Takes a word if there is one.
template <uint32_t capacity>
bool tryReceive(WordPipe<capacity>& pipe, int32_t& word) {
  pthread_mutex_lock(&pipe.lock);
  const bool any = pipe.sent != pipe.received;
  if (any) word = pipe.words[pipe.received++ % capacity];
  pthread_mutex_unlock(&pipe.lock);
  return any;
}

// Waits for a word.
template <uint32_t capacity>
int32_t receive(WordPipe<capacity>& pipe) {
  pthread_mutex_lock(&pipe.lock);
  pipe.receiverSleeps = pipe.sent == pipe.received;
  while (pipe.receiverSleeps) pthread_cond_wait(&pipe.filled, &pipe.lock);
  const int32_t word = pipe.words[pipe.received++ % capacity];
  pthread_mutex_unlock(&pipe.lock);
  return word;
}

}  // namespace qrt::platform
