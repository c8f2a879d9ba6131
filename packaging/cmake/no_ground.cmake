# The file that TIME_CHECK_PLATFORM names where the project around has made the target time_check_ground already.
