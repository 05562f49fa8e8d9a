#include "reader/gate.h"

namespace tagwire {

void Gate::init()
{
    inside_ = 0;
    shut_ = false;
    pthread_mutex_init(&mutex_, nullptr);
    pthread_cond_init(&emptied_, nullptr);
}

void Gate::destroy()
{
    pthread_cond_destroy(&emptied_);
    pthread_mutex_destroy(&mutex_);
}

void Gate::await_empty()
{
    pthread_mutex_lock(&mutex_);
    while (__atomic_load_n(&inside_, __ATOMIC_SEQ_CST) != 0) pthread_cond_wait(&emptied_, &mutex_);
    pthread_mutex_unlock(&mutex_);
}

// Under the mutex, so that it cannot fall between the test and the wait of await_empty().
void Gate::announce_empty()
{
    pthread_mutex_lock(&mutex_);
    pthread_cond_broadcast(&emptied_);
    pthread_mutex_unlock(&mutex_);
}

}  // namespace tagwire
