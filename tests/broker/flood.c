// A flood of commands, by libmosquitto alone, for it is faster than what it floods:
//
//     flood PORT COUNT WAITING ANSWERS [PAYLOAD] < TOPICS
//
// Sends COUNT messages to the topics, one a line, in turn, each with the payload, or without one with
// the next kind of nonsense. Keeps at most WAITING of them without an answer on the filter ANSWERS. Prints how many were
// answered and in how many milliseconds; ends with 1 when an answer is missing for too long.
#include <mosquitto.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

enum
{
    MOST_TOPICS = 4096,
    LONGEST_TOPIC = 512,
    DEEP = 5000,
    LOOP_MS = 100,
    LONGEST_SILENCE_MS = 30000
};

struct Nonsense
{
    const char* octets;
    int length;
};

static char deep[DEEP];
static const struct Nonsense NONSENSE[] = {
    {"", 0},
    {"{", 1},
    {"\xff\x00", 2},
    {deep, DEEP},
    {"{\"state\":\"x\"}", 13},
    {"999999999999999999999999999999999999999999999999999999999999", 60},
    {"{\"a\":1}", 7},
};
enum
{
    KINDS = sizeof(NONSENSE) / sizeof(NONSENSE[0])
};

static char* topics[MOST_TOPICS];
static long topic_count = 0;
static const char* payload = NULL;
static long wanted = 0;
static long most_waiting = 0;
static long sent = 0;
static long answered = 0;
static int subscribed = 0;

static long long Milliseconds(void)
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000LL + now.tv_nsec / 1000000;
}

static void SendMore(struct mosquitto* client)
{
    while (sent < wanted && sent - answered < most_waiting)
    {
        struct Nonsense message = NONSENSE[sent % KINDS];
        if (payload)
            message = (struct Nonsense){payload, (int)strlen(payload)};
        if (mosquitto_publish(client, NULL, topics[sent % topic_count], message.length,
                              message.octets, 0, false) != MOSQ_ERR_SUCCESS)
            return;
        ++sent;
    }
}

static void OnSubscribed(struct mosquitto* client, void* self, int id, int count, const int* qos)
{
    (void)client, (void)self, (void)id, (void)count, (void)qos;
    subscribed = 1;
}

static void OnMessage(struct mosquitto* client, void* self, const struct mosquitto_message* message)
{
    (void)client, (void)self, (void)message;
    ++answered;
}

static int ReadTopics(void)
{
    char line[LONGEST_TOPIC];
    while (topic_count < MOST_TOPICS && fgets(line, sizeof(line), stdin))
    {
        line[strcspn(line, "\n")] = '\0';
        topics[topic_count] = strdup(line);
        if (!topics[topic_count++])
            return 0;
    }
    return topic_count > 0;
}

// Runs the connection until all are answered, or nothing has come for too long.
static void Flood(struct mosquitto* client)
{
    long before = 0;
    long long news = Milliseconds();
    while (answered < wanted && mosquitto_loop(client, LOOP_MS, 1) == MOSQ_ERR_SUCCESS)
    {
        if (!subscribed)
            continue;
        SendMore(client);
        if (answered != before)
            news = Milliseconds();
        if (Milliseconds() - news > LONGEST_SILENCE_MS)
            return;
        before = answered;
    }
}

int main(int count, char** words)
{
    if (count < 5 || count > 6 || !ReadTopics())
        return 2;
    payload = words[5];
    wanted = atol(words[2]);
    most_waiting = atol(words[3]);
    memset(deep, '[', sizeof(deep));
    mosquitto_lib_init();
    struct mosquitto* const client = mosquitto_new(NULL, true, NULL);
    mosquitto_subscribe_callback_set(client, &OnSubscribed);
    mosquitto_message_callback_set(client, &OnMessage);
    if (mosquitto_connect(client, "127.0.0.1", atoi(words[1]), 60) != MOSQ_ERR_SUCCESS ||
        mosquitto_subscribe(client, NULL, words[4], 0) != MOSQ_ERR_SUCCESS)
        return 1;
    const long long begin = Milliseconds();
    Flood(client);
    printf("%ld %lld\n", answered, Milliseconds() - begin);
    mosquitto_disconnect(client);
    return answered >= wanted ? 0 : 1;
}
