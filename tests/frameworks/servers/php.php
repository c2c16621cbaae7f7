<?php # PHP: php-cli
header("Content-Type: text/plain; charset=utf-8");
echo "Hello, ", $_POST["name"] ?? "", "!";
