#pragma once

#include "filejob.h"

#include <QString>

#include <vector>

// One of N parts of a batch, numbered from 1: --shard I/N.
struct Shard
{
    int index = 1;
    int count = 1;
};

// Reads "I/N" with 1 <= I <= N; refuses anything else, naming it.
Shard parseShard(const QString &text);

// The part a file belongs to, from its relative path alone: machines that
// share a batch agree on it without talking to each other, whatever else
// their file lists hold.
int shardOf(const QString &relativePath, int count);

// Keeps the jobs of `shard`, in their order.
std::vector<FileJob> jobsOfShard(const std::vector<FileJob> &jobs, Shard shard);
