# fish completion of tcctl-record. tools/generate.py writes this file.

complete -c tcctl-record -f
complete -c tcctl-record -s h -l help -d 'print help, and end'
complete -c tcctl-record -l version -d 'print the version, and end'
complete -c tcctl-record -l output -x -d 'where to (standard output)'
complete -c tcctl-record -l append -d 'go on with the trace that is there: the router was started again'
complete -c tcctl-record -l for -x -d 'for how long: 90, 15m, 2h, 1d'
