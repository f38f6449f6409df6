#!/bin/sh
# Wine's loader with fixed addresses; the reason is in prefix.sh. Other scripts run it as "$wine".
exec setarch -R /usr/lib/wine/wine64 "$@"
