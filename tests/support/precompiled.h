// What nearly every test includes; compiled once per program.
#pragma once

#include <filesystem>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <thread>
#include <vector>
