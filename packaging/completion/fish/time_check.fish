# fish completion of time_check. tools/generate.py writes this file.

complete -c time_check -f
complete -c time_check -l help -d 'print help, and end'
complete -c time_check -l version -d 'print the version, and end'
