#include "reader/gate.h"

namespace tagwire::engine {

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
    const Lock lock(mutex_);
    while (inside_.ordered_load() != 0) pthread_cond_wait(&emptied_, &mutex_);
}

// Under the mutex, so that it cannot fall between the test and the wait of await_empty().
void Gate::announce_empty()
{
    const Lock lock(mutex_);
    pthread_cond_broadcast(&emptied_);
}

}  // namespace tagwire::engine
