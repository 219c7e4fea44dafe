// How long a message takes through a broker, by libmosquitto alone:
//
//     round_trip PORT COUNT TOPIC PAYLOAD ANSWER_TOPIC
//
// Publishes, waits for the first message on the answer's topic, and so on. Prints the microseconds
// of each, one a line. Messages that follow the answer within the pause between two are skipped.
#include <mosquitto.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

enum
{
    PAUSE_MS = 150,
    LONGEST_US = 5000000
};

static int subscribed = 0;
static int answered = 0;

static long long Microseconds(void)
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000000LL + now.tv_nsec / 1000;
}

static void OnSubscribed(struct mosquitto* client, void* self, int id, int count, const int* qos)
{
    (void)client, (void)self, (void)id, (void)count, (void)qos;
    subscribed = 1;
}

static void OnMessage(struct mosquitto* client, void* self, const struct mosquitto_message* message)
{
    (void)client, (void)self, (void)message;
    answered = 1;
}

// Runs the connection until `flag` is set or that long has passed.
static int Await(struct mosquitto* client, const int* flag, long long longest)
{
    const long long end = Microseconds() + longest;
    while (!*flag && Microseconds() < end)
    {
        if (mosquitto_loop(client, 1, 1) != MOSQ_ERR_SUCCESS)
            return 0;
    }
    return *flag;
}

int main(int count, char** words)
{
    static const int NEVER = 0;
    if (count != 6)
        return 2;
    mosquitto_lib_init();
    struct mosquitto* const client = mosquitto_new(NULL, true, NULL);
    mosquitto_int_option(client, MOSQ_OPT_TCP_NODELAY, 1);
    mosquitto_subscribe_callback_set(client, &OnSubscribed);
    mosquitto_message_callback_set(client, &OnMessage);
    if (mosquitto_connect(client, "127.0.0.1", atoi(words[1]), 60) != MOSQ_ERR_SUCCESS ||
        mosquitto_subscribe(client, NULL, words[5], 0) != MOSQ_ERR_SUCCESS ||
        !Await(client, &subscribed, LONGEST_US))
        return 1;
    for (int i = 0; i < atoi(words[2]); ++i)
    {
        char payload[512];
        const int length = snprintf(payload, sizeof(payload), "%s", words[4]);
        Await(client, &NEVER, PAUSE_MS * 1000LL);
        answered = 0;
        const long long begin = Microseconds();
        mosquitto_publish(client, NULL, words[3], length, payload, 0, false);
        if (!Await(client, &answered, LONGEST_US))
            return 1;
        printf("%lld\n", Microseconds() - begin);
    }
    mosquitto_disconnect(client);
    return 0;
}
