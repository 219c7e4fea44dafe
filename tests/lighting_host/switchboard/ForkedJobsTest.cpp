#include "lighting_host/switchboard/ForkedJobs.h"

#include <csignal>
#include <map>
#include <stdexcept>
#include <unistd.h>

#include <gtest/gtest.h>

using namespace lighting_host;
using Answer = ForkedJobs::Answer;

TEST(ForkedJobsTest, Questions_AreAnsweredEachByItsId)
{
    ForkedJobs jobs(3);
    std::map<std::size_t, Answer> answers;
    for (std::size_t id = 0; id < 8; ++id)
    {
        while (jobs.IsFull())
        {
            const auto done = jobs.Wait();
            answers[done->id] = done->answer;
        }
        jobs.Start(id, [id] { return id % 3 == 0; });
    }
    while (const auto done = jobs.Wait())
        answers[done->id] = done->answer;
    ASSERT_EQ(answers.size(), 8u);
    for (const auto& [id, answer] : answers)
        EXPECT_EQ(answer, id % 3 == 0 ? Answer::Yes : Answer::No);
}

TEST(ForkedJobsTest, WhatAChildDoes_StaysThere)
{
    int value = 1;
    ForkedJobs jobs(1);
    jobs.Start(0, [&value] { return ++value == 2; });
    EXPECT_EQ(jobs.Wait()->answer, Answer::Yes);
    EXPECT_EQ(value, 1);
}

TEST(ForkedJobsTest, CrashOrException_IsNoAnswer)
{
    ForkedJobs jobs(2);
    jobs.Start(0, []() -> bool { throw std::runtime_error("not today"); });
    jobs.Start(1,
               []
               {
                   kill(getpid(), SIGKILL);
                   return true;
               });
    EXPECT_EQ(jobs.Wait()->answer, Answer::None);
    EXPECT_EQ(jobs.Wait()->answer, Answer::None);
    EXPECT_FALSE(jobs.Wait());
}

TEST(ForkedJobsTest, EndInTheMiddle_KillsWhatStillRuns)
{
    ForkedJobs jobs(1);
    jobs.Start(0,
               []
               {
                   for (;;)
                       pause();
                   return true;
               });
    EXPECT_TRUE(jobs.IsFull());
    jobs.KillAll();
    EXPECT_TRUE(jobs.IsEmpty());
}
