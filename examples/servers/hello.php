<?php
header("Content-Type: text/html; charset=utf-8");
echo "Content-type: text/html; charset=utf-8\r\n\r\n";
echo "<p>Hello, ", htmlspecialchars($_POST["name"] ?? "you"), "!</p>\r\n";
