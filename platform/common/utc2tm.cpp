// The text form of a weekly time: "[DAYS ]HH:MM".
#include "platform/system.h"

#include <cstring>

constexpr int DAYS_A_WEEK = 7;
constexpr int EVERY_DAY = (1 << DAYS_A_WEEK) - 1;
constexpr size_t DAY_NAME_LENGTH = 3;
static const char day_names[DAYS_A_WEEK][DAY_NAME_LENGTH + 1] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};

// Takes a day's name from the front of *text; -1 when there is none.
static int take_day(const char **text)
{
    for (int day = 0; day < DAYS_A_WEEK; day++) {
        if (strncmp(*text, day_names[day], DAY_NAME_LENGTH) == 0) {
            *text += DAY_NAME_LENGTH;
            return day;
        }
    }
    return -1;
}

// Takes one day or one range from the front of *text as a mask; 0 when there is none.
static int take_days(const char **text)
{
    const int first = take_day(text);
    if (first < 0)
        return 0;
    if (strncmp(*text, "..", 2) != 0)
        return 1 << first;
    *text += 2;
    const int last = take_day(text);
    if (last < 0)
        return 0;
    int mask = 1 << last;
    for (int day = first; day != last; day = (day + 1) % DAYS_A_WEEK)
        mask |= 1 << day;
    return mask;
}

// Takes the comma list and the blank after it; 0 when it is malformed.
static int take_day_list(const char **text)
{
    int list = 0;
    for (;;) {
        const int mask = take_days(text);
        if (mask == 0)
            return 0;
        list |= mask;
        const char separator = *(*text)++;
        if (separator == ' ')
            return list;
        if (separator != ',')
            return 0;
    }
}

static bool is_digit(char character)
{
    return character >= '0' && character <= '9';
}

// Takes one or two digits; -1 when there is none or the number is above `highest`.
static int take_number(const char **text, int highest)
{
    if (!is_digit(**text))
        return -1;
    int number = *(*text)++ - '0';
    if (is_digit(**text))
        number = number * 10 + (*(*text)++ - '0');
    return number > highest ? -1 : number;
}

int utc2tm(const char *text, struct tm *out)
{
    if (text == nullptr || out == nullptr)
        return -1;
    int days = EVERY_DAY;
    if (!is_digit(*text)) {
        days = take_day_list(&text);
        if (days == 0)
            return -1;
    }
    const int hour = take_number(&text, 23);
    if (hour < 0 || *text++ != ':')
        return -1;
    const int minute = take_number(&text, 59);
    if (minute < 0 || *text != '\0')
        return -1;
    out->tm_hour = hour;
    out->tm_min = minute;
    out->tm_wday = days;
    return 0;
}
